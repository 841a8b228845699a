// The kwa command: prints the library version and where object files are looked up.
#include <cstdio>
#include <cstring>

#include "frame/lookup.h"
#include "kwa.h"

namespace {

bool print_dir(void*, const char* dir, bool) noexcept {
  std::printf("  %s\n", dir);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || std::strcmp(argv[1], "info") != 0) {
    std::fprintf(stderr, "usage: kwa info\n");
    return 2;
  }
  std::printf("kwa %s (charmap objects %s, locale objects %s, conversion objects %s)\n", kw_version(),
              kw_cm_version(), kw_lc_version(), kw_cv_version());
  const char* kinds[][2] = {{"cm", "3"}, {"lc", "11"}, {"cv", "9"}};
  for (auto& k : kinds) {
    std::printf("%s%s objects are looked up in:\n", k[0], k[1]);
    kw::frame::visit_search_dirs(k[0], k[1], print_dir, nullptr);
  }
  return 0;
}
