// Writes the codeset test fixtures (.cmo files and a registry) into the
// directory given as the only argument.
#include <cstdio>
#include <string>

#include "fixture_sources.h"
#include "writers.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <output directory>\n", argv[0]);
    return 2;
  }
  const std::string dir = std::string(argv[1]) + "/";
  std::string error;
  for (const kw::testing::CodesetFixture& f : kw::testing::codeset_fixtures()) {
    std::string text;
    if (!kw::writers::write_cmo(f.source, text, error) || !kw::writers::write_file(dir + f.file_name, text, error)) {
      std::fprintf(stderr, "%s: %s\n", f.file_name.c_str(), error.c_str());
      return 1;
    }
  }
  if (!kw::writers::write_file(dir + "registry", kw::testing::fixture_registry(), error)) {
    std::fprintf(stderr, "registry: %s\n", error.c_str());
    return 1;
  }
  return 0;
}
