// Platform layer for POSIX systems.
#if !defined(_WIN32)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "frame/platform.h"

namespace kw::platform {

const char* default_install_dir() noexcept { return KWA_DEFAULT_DIR; }

const char* log_path() noexcept { return "/tmp/kwa.log"; }

void read_setting(const char* section, const char* key, char* out, std::size_t size) noexcept {
  // TODO(frame): /etc/KWA.INI reader.
  (void)section;
  (void)key;
  if (size > 0) out[0] = '\0';
}

void show_notice(const char* text) noexcept { std::fprintf(stderr, "KWA: %s\n", text); }

bool local_now(std::tm* out) noexcept {
  std::time_t t = std::time(nullptr);
  return localtime_r(&t, out) != nullptr;
}

char* env_get(const char* name) noexcept { return std::getenv(name); }

int env_put(char* name_equals_value) noexcept { return putenv(name_equals_value); }

}  // namespace kw::platform
#endif
