// Writes the locale test objects: <root>/kwa/lc11/..., the registry in
// <root>/kwa/cm3/ and one directory per broken variant in <root>/bad/.
#include <cstdio>
#include <exception>
#include <string>

#include "locale_fixtures.h"
#include "writers.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT-ROOT\n", argv[0]);
    return 2;
  }
  const std::string root = argv[1];
  try {
    using kw::writers::write_lco;
    const std::pair<std::string, std::string> files[] = {
        {"kwa/lc11/default.lco", write_lco(kw::testing::posix_locale())},
        {"kwa/lc11/en_us/0333.lco", write_lco(kw::testing::latin1_locale())},
        {"kwa/lc11/xx_yy/ea61.lco", write_lco(kw::testing::twobyte_locale())},
        {"kwa/lc11/ja_jp/e01c.lco", write_lco(kw::testing::utf8_locale())},
        {"kwa/cm3/registry", kw::testing::fixture_registry()},
    };
    std::string error;
    for (const auto& [name, text] : files) {
      if (!kw::writers::write_file(root + "/" + name, text, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
      }
    }
    for (const auto& [name, text] : kw::testing::broken_objects()) {
      if (!kw::writers::write_file(root + "/bad/" + name + "/default.lco", text, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
      }
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "gen_locale_fixtures: %s\n", e.what());
    return 1;
  }
  return 0;
}
