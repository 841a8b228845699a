// Fixture of the locale tests: an environment served from a map (the locale
// objects of the build found through KESTAVORDIR, logging switched on into
// a scratch log) and helpers to read items.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kwa.h"
#include "support/test_support.h"

namespace kw::testing {

class LocaleTest : public KwTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Sets or removes a variable of the served environment.
  static void set_env(const std::string& name, const std::string& value);
  static void unset_env(const std::string& name);

  // The fixture root (…/testdata/locale/) and a broken variant's directory.
  static std::string data_dir();
  static std::string bad_dir(const std::string& variant);
  static std::string bad_file(const std::string& variant) { return bad_dir(variant) + "default.lco"; }

  // The diagnostics written since SetUp.
  std::string log_text() const;

  // The default locale; fails the test when it cannot be made.
  kw_locale* load_default();
};

// Item `item` as bytes up to the first run of four zero bytes ("" for null).
std::string item_bytes(kw_locale* h, int item);
// The wide form of item `item` as values (empty for null).
std::vector<kw_wchar_t> item_wide(kw_locale* h, int item);
// kw_setlocale_4 as a string: the locale string it returns (released), or
// "<null>" when it fails; a null `spec` queries.
std::string set_locale(kw_locale* h, int category, const char* spec);
// The locale's error slot.
std::uint32_t error_of(kw_locale* h);

}  // namespace kw::testing
