// The platform layer: every difference between Windows and POSIX lives behind
// these functions (platform_posix.cpp, platform_win32.cpp).
#pragma once

#include <cstddef>
#include <ctime>

namespace kw::platform {

// Directory separator used when the library builds paths ('\\' or '/').
#if defined(_WIN32)
inline constexpr char kSeparator = '\\';
#else
inline constexpr char kSeparator = '/';
#endif

// The installation directory used when neither KW_PATH nor KESTAVORDIR is
// set, with its trailing separator ("c:\kestavor\" on Windows; the configured
// data directory elsewhere).
const char* default_install_dir() noexcept;

// The diagnostics log file ("c:\kwa.log" on Windows, "/tmp/kwa.log" elsewhere).
const char* log_path() noexcept;

// Reads `key` of section `section` of the settings file KWA.INI into `out`
// (at most size - 1 characters, always terminated); empty when missing.
void read_setting(const char* section, const char* key, char* out, std::size_t size) noexcept;

// Shows `text` as a modal notice with caption "KWA" (a line on standard
// error outside Windows).
void show_notice(const char* text) noexcept;

// The current local broken-down time; false when the clock cannot be read.
bool local_now(std::tm* out) noexcept;

// The process environment, as the C library's getenv and putenv.
char* env_get(const char* name) noexcept;
int env_put(char* name_equals_value) noexcept;

}  // namespace kw::platform
