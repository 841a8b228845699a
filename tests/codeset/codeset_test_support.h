// Helpers of the codeset tests: the fixture directory behind KESTAVORDIR,
// charmaps loaded from it, and a locale head built from a charmap.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "codeset/charmap.h"
#include "codeset/codec.h"
#include "support/test_support.h"

namespace kw::testing {

// Points KESTAVORDIR at the generated fixture directory and hides KW_PATH,
// through the getenv hook (so the real environment stays untouched).
void use_codeset_fixture_dir();

// The fixture directory (kwa/cm3/ below it holds the .cmo files).
std::string codeset_fixture_dir();

// Loads fixture charmap `name` by name along the search path; fails the
// test (returns null) when it cannot.
kw_charmap* load_fixture_charmap(const char* name);

// A locale head over a charmap's automaton, usable as kw_locale*: shortest
// and longest from the automaton, single-byte when every character is one
// byte, with a class table for single-byte sets. Class masks (blank 1024,
// cntrl 32, space 16) are stored as the characters' automaton data too.
class CodecLocale {
 public:
  explicit CodecLocale(kw_charmap* cm);
  ~CodecLocale();
  CodecLocale(const CodecLocale&) = delete;
  CodecLocale& operator=(const CodecLocale&) = delete;

  kw_locale* handle() { return reinterpret_cast<kw_locale*>(&head_); }
  std::uint32_t& error() { return head_.error; }
  const kw::codeset::Automaton& automaton() const { return *automaton_; }

 private:
  kw::codeset::LocaleHead head_{};
  kw::codeset::Automaton* automaton_ = nullptr;
  std::uint16_t sb_class_[256] = {};
};

// The class mask the test locales give a wide value (ASCII rules: 0x09..0x0D
// and 0x20 are space, 0x09 and 0x20 blank, below 0x20 and 0x7F cntrl; the
// ideographic space 0x3000 is space and blank; 0xA0 is space only, so that
// the blank-based multibyte and the space-based wide forms differ on it).
std::uint16_t test_class_of(std::uint32_t value);

// Fixture of the codec tests: fixture charmaps loaded by name, each with a
// locale head over it; all are released after the test.
class CodecFixture : public KwTest {
 protected:
  void TearDown() override;
  // Loads charmap `name` and makes a locale head over it.
  CodecLocale& use(const char* name);
  // The most recently loaded charmap and its locale's error slot.
  kw_charmap* cm() { return charmaps_.empty() ? nullptr : charmaps_.back(); }
  std::uint32_t& err() { return locales_.back()->error(); }

  std::vector<kw_charmap*> charmaps_;
  std::vector<std::unique_ptr<CodecLocale>> locales_;
};

// Fixture of the charmap loader tests: a scratch directory per test that
// charmap object files are written to and loaded from.
class CharmapFileTest : public KwTest {
 protected:
  void SetUp() override;
  void TearDown() override;
  // Writes `text` as `file` and loads it into cm_ (released at TearDown or
  // by the next load).
  int load_text(const std::string& text, const std::string& file = "test.cmo");
  // Loads `text` and releases it again: the result and the record's error
  // (0 on success).
  std::pair<int, std::uint32_t> try_text(const std::string& text);
  // The header of a charmap object with `length` header lines of which
  // `extra` holds those after the first three.
  static std::string header(const std::string& extra = "CODESET=TEST\nSOURCE_VERSION=4\n", int length = 5);
  int mblen(const std::string& s, int length = -2);

  std::filesystem::path dir_;
  kw_charmap* cm_ = nullptr;
};

// The bytes of a generated fixture object (kwa/cm3/`file`).
std::string fixture_object_text(const char* file);

inline constexpr std::uint16_t kClassSpace = 16;
inline constexpr std::uint16_t kClassCntrl = 32;
inline constexpr std::uint16_t kClassBlank = 1024;

}  // namespace kw::testing
