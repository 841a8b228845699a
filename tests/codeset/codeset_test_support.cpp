// Helpers of the codeset tests.
#include "codeset_test_support.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace kw::testing {
namespace {

char* KW_CALL fixture_getenv(const char* name) {
  static std::string dir;
  dir = codeset_fixture_dir();
  if (std::strcmp(name, "KESTAVORDIR") == 0) return dir.data();
  if (std::strcmp(name, "KW_PATH") == 0) return nullptr;
  return std::getenv(name);
}

}  // namespace

std::string codeset_fixture_dir() { return KWA_CODESET_TESTDATA; }

void use_codeset_fixture_dir() {
  kw_setextfunc(nullptr, KW_EXT_GETENV, reinterpret_cast<kw_extfunc>(&fixture_getenv));
}

kw_charmap* load_fixture_charmap(const char* name) {
  use_codeset_fixture_dir();
  kw_charmap* cm = nullptr;
  const int r = kw_cm_load(&cm, name, -1, nullptr);
  EXPECT_EQ(r, 0) << "loading " << name << ": error " << (cm ? cm->error : 0);
  if (r != 0) {
    kw_cm_unload(cm);
    return nullptr;
  }
  return cm;
}

std::uint16_t test_class_of(std::uint32_t v) {
  std::uint16_t c = 0;
  if ((v >= 0x09 && v <= 0x0D) || v == 0x20 || v == 0x3000 || v == 0xA0) c |= kClassSpace;
  if (v == 0x09 || v == 0x20 || v == 0x3000) c |= kClassBlank;
  if (v < 0x20 || v == 0x7F) c |= kClassCntrl;
  return c;
}

CodecLocale::CodecLocale(kw_charmap* cm) {
  using namespace kw::codeset;
  auto r = automaton_create(2, nullptr);
  EXPECT_TRUE(r.ok());
  if (!r.ok()) return;
  automaton_ = *r;
  bool single = true;
  // The locale automaton: the charmap's characters with their class masks.
  // The class of a multibyte character is taken from the value's low bits in
  // the two-byte fixture (00 20 is a space) and from the byte otherwise.
  automaton_for_each(*cm->automaton, [&](const std::uint8_t* s, std::size_t n, const std::uint8_t*) {
    std::uint32_t v = 0;
    for (std::size_t i = 0; i < n; ++i) v = (v << 8) | s[i];
    const std::uint16_t cls = test_class_of(v);
    EXPECT_EQ(automaton_insert(*automaton_, s, n, &cls), Err::None);
    if (n != 1) single = false;
    else sb_class_[s[0]] = cls;
    return true;
  });
  head_.codec.automaton = automaton_;
  head_.codec.shortest = automaton_->shortest;
  head_.codec.longest = automaton_->longest;
  head_.codec.single_byte = single && automaton_->longest == 1 ? 1 : 0;
  head_.codec.sb_class = head_.codec.single_byte != 0 ? sb_class_ : nullptr;
}

CodecLocale::~CodecLocale() { kw::codeset::automaton_release(automaton_); }

void CodecFixture::TearDown() {
  locales_.clear();
  for (kw_charmap* cm : charmaps_) kw_cm_unload(cm);
  charmaps_.clear();
  KwTest::TearDown();
}

CodecLocale& CodecFixture::use(const char* name) {
  kw_charmap* cm = load_fixture_charmap(name);
  EXPECT_NE(cm, nullptr);
  charmaps_.push_back(cm);
  locales_.push_back(std::make_unique<CodecLocale>(cm));
  return *locales_.back();
}

void CharmapFileTest::SetUp() {
  KwTest::SetUp();
  kw::codeset::reset_charmap_for_tests();
  use_codeset_fixture_dir();
  const auto* unit = ::testing::UnitTest::GetInstance();
  dir_ = std::filesystem::temp_directory_path() /
         ("kwa_charmap_" + std::to_string(unit->random_seed()) + "_" + unit->current_test_info()->name());
  std::filesystem::create_directories(dir_);
}

void CharmapFileTest::TearDown() {
  kw_cm_unload(cm_);
  std::filesystem::remove_all(dir_);
  kw::codeset::reset_charmap_for_tests();
  KwTest::TearDown();
}

int CharmapFileTest::load_text(const std::string& text, const std::string& file) {
  kw_cm_unload(cm_);
  cm_ = nullptr;
  std::ofstream(dir_ / file, std::ios::binary) << text;
  const int r = kw_cm_load(&cm_, file.c_str(), -1, dir_.string().c_str());
  EXPECT_NE(cm_, nullptr);
  return r;
}

std::pair<int, std::uint32_t> CharmapFileTest::try_text(const std::string& text) {
  const int r = load_text(text);
  const std::uint32_t e = r == 0 ? 0 : cm_->error;
  kw_cm_unload(cm_);
  cm_ = nullptr;
  return {r, e};
}

std::string CharmapFileTest::header(const std::string& extra, int length) {
  return "FILE_TYPE=charmap_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=" + std::to_string(length) + "\n" + extra;
}

int CharmapFileTest::mblen(const std::string& s, int length) {
  return kw_cm_mblen(cm_, s.data(), length == -2 ? static_cast<int>(s.size()) : length);
}

std::string fixture_object_text(const char* file) {
  std::ifstream in(codeset_fixture_dir() + "kwa/cm3/" + file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace kw::testing
