// Test redirection of the log file and the settings file, common to all platforms.
#include <cstring>

#include "frame/platform.h"

namespace kw::platform {
namespace {

// A redirected path, copied so that the caller's string need not outlive it.
struct PathOverride {
  bool active = false;
  char path[1024] = {};

  void set(const char* p) noexcept {
    active = p != nullptr;
    if (!active) return;
    std::size_t n = std::strlen(p);
    if (n >= sizeof path) n = sizeof path - 1;
    std::memcpy(path, p, n);
    path[n] = '\0';
  }
};

PathOverride g_log;
PathOverride g_settings;

}  // namespace

const char* log_path() noexcept { return g_log.active ? g_log.path : default_log_path(); }

const char* settings_path() noexcept { return g_settings.active ? g_settings.path : default_settings_path(); }

void set_paths_for_tests(const char* log, const char* settings) noexcept {
  g_log.set(log);
  g_settings.set(settings);
}

}  // namespace kw::platform
