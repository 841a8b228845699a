// The platform layer: every difference between Windows and POSIX lives behind
// these functions (platform_posix.cpp, platform_win32.cpp; the test overrides
// of the file paths in platform_paths.cpp).
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

// True for a byte that separates directories in a path on this platform
// (both '/' and '\\' on Windows, only '/' elsewhere).
constexpr bool is_separator(char c) noexcept {
#if defined(_WIN32)
  return c == '\\' || c == '/';
#else
  return c == '/';
#endif
}

// The installation directory used when neither KW_PATH nor KESTAVORDIR is
// set, with its trailing separator ("c:\kestavor\" on Windows; the configured
// data directory elsewhere).
const char* default_install_dir() noexcept;

// The diagnostics log file ("c:\kwa.log" on Windows, "/tmp/kwa.log" elsewhere),
// unless a test has redirected it.
const char* log_path() noexcept;

// The settings file ("KWA.INI" in the Windows directory on Windows,
// "/etc/KWA.INI" elsewhere), unless a test has redirected it. An empty path
// means that there is no settings file.
const char* settings_path() noexcept;

// Redirects the log file and the settings file. Null restores the platform's
// path; an empty settings path stands for a missing file. Paths longer than
// the internal buffer are cut. Tests only: they must never touch the real files.
void set_paths_for_tests(const char* log, const char* settings) noexcept;

// Reads `key` of section `section` of the settings file into `out` (at most
// size - 1 characters, always terminated when size > 0); empty when the
// file, the section or the key is missing. Section and key names compare
// without regard to ASCII case; the value is trimmed of surrounding blanks.
void read_setting(const char* section, const char* key, char* out, std::size_t size) noexcept;

// Shows `text` as a modal notice with caption "KWA" (a line on standard
// error outside Windows).
void show_notice(const char* text) noexcept;

// The current local broken-down time; false when the clock cannot be read.
bool local_now(std::tm* out) noexcept;

// The process environment, as the C library's getenv and putenv.
char* env_get(const char* name) noexcept;
int env_put(char* name_equals_value) noexcept;

// The platform's own paths, before any test redirection.
const char* default_log_path() noexcept;
const char* default_settings_path() noexcept;

}  // namespace kw::platform
