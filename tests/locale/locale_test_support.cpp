// Fixture of the locale tests.
#include "locale_test_support.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace kw::testing {
namespace {

std::map<std::string, std::string>& env() {
  static std::map<std::string, std::string> e;
  return e;
}

char* KW_CALL served_getenv(const char* name) {
  auto it = env().find(name);
  return it == env().end() ? nullptr : it->second.data();
}

}  // namespace

void LocaleTest::SetUp() {
  KwTest::SetUp();
  std::remove(scratch_log_path().c_str());
  env().clear();
  set_env("KESTAVORDIR", data_dir());
  set_env("KWALOG", "on");
  kw_setextfunc(nullptr, KW_EXT_GETENV, reinterpret_cast<kw_extfunc>(&served_getenv));
}

void LocaleTest::TearDown() {
  KwTest::TearDown();
  env().clear();
  std::remove(scratch_log_path().c_str());
}

void LocaleTest::set_env(const std::string& name, const std::string& value) { env()[name] = value; }
void LocaleTest::unset_env(const std::string& name) { env().erase(name); }

std::string LocaleTest::data_dir() { return KWA_LOCALE_TESTDATA; }
std::string LocaleTest::bad_dir(const std::string& variant) { return data_dir() + "bad/" + variant + "/"; }

std::string LocaleTest::log_text() const {
  std::ifstream in(scratch_log_path());
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

kw_locale* LocaleTest::load_default() {
  kw_locale* h = nullptr;
  EXPECT_EQ(kw_createlocale_4(&h), 0);
  EXPECT_EQ(error_of(h), 0u);
  return h;
}

std::string item_bytes(kw_locale* h, int item) {
  const char* s = kw_nl_langinfo(h, item);
  if (s == nullptr) return "";
  // The code-set name and the calendar name are plain terminated strings.
  if (item == 60 || item == 73) return std::string(s);
  std::size_t n = 0;
  while (!(s[n] == 0 && s[n + 1] == 0 && s[n + 2] == 0 && s[n + 3] == 0)) ++n;
  return std::string(s, n);
}

std::vector<kw_wchar_t> item_wide(kw_locale* h, int item) {
  const kw_wchar_t* w = kw_wc_nl_langinfo(h, item);
  std::vector<kw_wchar_t> out;
  if (item == 73 && w != nullptr) {
    while (*w != 0) out.push_back(*w++);
    return out;
  }
  while (w != nullptr && *w != 0) out.push_back(*w++);
  return out;
}

std::string set_locale(kw_locale* h, int category, const char* spec) {
  char* s = kw_setlocale_4(h, category, spec);
  std::string out = s != nullptr ? s : "<null>";
  kw_destroystring(s);
  return out;
}

std::uint32_t error_of(kw_locale* h) { return *kw_ext_errno(h); }

}  // namespace kw::testing
