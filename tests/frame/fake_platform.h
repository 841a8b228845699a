// Fake environment and file-open hooks for the frame tests: the environment
// is a map the test fills, and every open attempt is recorded.
#pragma once

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "kwa.h"

namespace kw::testing {

class FakePlatform {
 public:
  // Installs the getenv hook (slot 0) and the fopen hook (slot 7) with an
  // empty environment and no files.
  static void install() {
    env().clear();
    files().clear();
    opened().clear();
    kw_setextfunc(nullptr, KW_EXT_GETENV, reinterpret_cast<kw_extfunc>(&fake_getenv));
    kw_setextfunc(nullptr, KW_EXT_FOPEN, reinterpret_cast<kw_extfunc>(&fake_fopen));
  }

  static void set_env(const std::string& name, const std::string& value) { env()[name] = value; }
  // Makes `path` openable through the fopen hook (as an empty temporary file).
  static void add_file(const std::string& path) { files().insert(path); }
  // Every path passed to the fopen hook, in order.
  static std::vector<std::string>& opened() {
    static std::vector<std::string> v;
    return v;
  }

 private:
  static std::map<std::string, std::string>& env() {
    static std::map<std::string, std::string> m;
    return m;
  }
  static std::set<std::string>& files() {
    static std::set<std::string> s;
    return s;
  }
  static char* KW_CALL fake_getenv(const char* name) {
    auto it = env().find(name);
    return it == env().end() ? nullptr : it->second.data();
  }
  static FILE* KW_CALL fake_fopen(const char* path, const char* mode) {
    opened().emplace_back(path);
    if (std::string(mode) != "r" || files().count(path) == 0) return nullptr;
    return std::tmpfile();
  }
};

}  // namespace kw::testing
