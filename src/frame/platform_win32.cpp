// Platform layer for Windows.
#if defined(_WIN32)
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "frame/platform.h"

namespace kw::platform {

const char* default_install_dir() noexcept { return "c:\\kestavor\\"; }

const char* default_log_path() noexcept { return "c:\\kwa.log"; }

// A bare file name: the profile reader looks for it in the Windows directory.
const char* default_settings_path() noexcept { return "KWA.INI"; }

void read_setting(const char* section, const char* key, char* out, std::size_t size) noexcept {
  if (out == nullptr || size == 0) return;
  out[0] = '\0';
  const char* path = settings_path();
  if (section == nullptr || key == nullptr || path[0] == '\0') return;
  const DWORD n = size > 0xFFFFu ? 0xFFFFu : static_cast<DWORD>(size);
  GetPrivateProfileStringA(section, key, "", out, n, path);
  out[size - 1] = '\0';
}

void show_notice(const char* text) noexcept { MessageBoxA(nullptr, text, "KWA", MB_OK); }

bool local_now(std::tm* out) noexcept {
  std::time_t t = std::time(nullptr);
  return t != static_cast<std::time_t>(-1) && localtime_s(out, &t) == 0;
}

char* env_get(const char* name) noexcept { return std::getenv(name); }

int env_put(char* name_equals_value) noexcept { return _putenv(name_equals_value); }

}  // namespace kw::platform
#endif
