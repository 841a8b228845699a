// Diagnostics log and pop-up notices.
#include "frame/diag.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "frame/platform.h"
#include "kwa.h"

namespace {

// Process-wide and unsynchronised, like the hook table: the switches are
// read on first use and then kept for the life of the process.
std::uint32_t g_initialised;
std::uint32_t g_logging;
std::uint32_t g_popups;
std::FILE* g_log;  // only set between an open of the log file and its close

// Settings values are read into a buffer of this many characters, terminator
// included, so longer values are cut to nine characters.
constexpr std::size_t kSettingSize = 10;

// Kept for compatibility: the first character is folded to lower case, the
// second is compared as it is, so "On" and "on" switch on but "ON" does not.
bool switches_on(const char* value) noexcept {
  if (value == nullptr) return false;
  const char first = value[0];
  return (first == 'o' || first == 'O') && value[1] == 'n';
}

// A switch comes from the settings file when the key there has a value,
// even one that does not switch it on; else from the environment variable.
bool read_switch(const char* key, const char* variable) noexcept {
  char value[kSettingSize] = {};
  kw::platform::read_setting("KWA", key, value, sizeof value);
  if (value[0] != '\0') return switches_on(value);
  return switches_on(kw_ext_getenv(variable));
}

// The C library's fixed form of a date, "Sun Mar  5 14:03:09 1997\n", with
// English names whatever the process locale is.
void format_ctime(const std::tm& tm, char* out, std::size_t size) noexcept {
  static const char kDays[7][4] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char kMonths[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const int wday = tm.tm_wday >= 0 && tm.tm_wday < 7 ? tm.tm_wday : 0;
  const int mon = tm.tm_mon >= 0 && tm.tm_mon < 12 ? tm.tm_mon : 0;
  std::snprintf(out, size, "%.3s %.3s%3d %.2d:%.2d:%.2d %d\n", kDays[wday], kMonths[mon], tm.tm_mday,
                tm.tm_hour, tm.tm_min, tm.tm_sec, tm.tm_year + 1900);
}

void write_banner() noexcept {
  g_log = std::fopen(kw::platform::log_path(), "a");
  if (g_log == nullptr) return;
  std::tm now{};
  if (!kw::platform::local_now(&now)) now = std::tm{};
  char when[64];
  format_ctime(now, when, sizeof when);
  std::fputs("----\n", g_log);
  std::fprintf(g_log, "KWA log started %s", when);
  std::fputs("----\n", g_log);
  std::fclose(g_log);
  g_log = nullptr;
}

void read_switches() noexcept {
  g_initialised = 1;
  g_logging = read_switch("Logging", "KWALOG") ? 1 : 0;
  if (g_logging != 0) write_banner();
  g_popups = read_switch("Popups", "KWADEBUG") ? 1 : 0;
}

}  // namespace

void kw_diag(const char* text) noexcept {
  if (g_initialised == 0) read_switches();
  if (text == nullptr) return;
  if (g_logging != 0) {
    // Opened and closed for every message, so nothing is buffered between them.
    g_log = std::fopen(kw::platform::log_path(), "a");
    if (g_log != nullptr) {
      std::fprintf(g_log, "%s", text);
      std::fputs("\n", g_log);
      std::fclose(g_log);
      g_log = nullptr;
    }
  }
  if (g_popups != 0) kw::platform::show_notice(text);
}

namespace kw::frame {

void diagf(const char* fmt, ...) noexcept {
  char buf[1200];
  va_list ap;
  va_start(ap, fmt);
  const int n = std::vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  if (n < 0) buf[0] = '\0';
  kw_diag(buf);
}

void reset_diag_for_tests() noexcept {
  g_initialised = 0;
  g_logging = 0;
  g_popups = 0;
  g_log = nullptr;
}

}  // namespace kw::frame
