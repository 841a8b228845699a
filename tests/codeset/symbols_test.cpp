// Tests of the character-symbol conversions over the fixture charmaps.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "codeset/symbol_names.h"
#include "codeset/symbols.h"
#include "codeset_test_support.h"
#include "fixture_sources.h"

namespace kw::codeset {
namespace {

class SymbolsTest : public kw::testing::KwTest {
 protected:
  void TearDown() override {
    kw_cm_unload(cm_);
    KwTest::TearDown();
  }
  kw_charmap* use(const char* name) { return cm_ = kw::testing::load_fixture_charmap(name); }
  std::string to_syms(const std::string& mbs, int size = 256) {
    std::string out(static_cast<std::size_t>(size > 0 ? size : 1), '\x7f');
    const int n = kw_mbstosyms(cm_, out.data(), size, mbs.data(), static_cast<int>(mbs.size()));
    return n < 0 ? "error" : std::string(out.data(), static_cast<std::size_t>(n));
  }
  std::string to_mbs(const char* syms) {
    char out[256];
    const int n = kw_symstombs(cm_, out, sizeof out, syms);
    return n < 0 ? "error" : std::string(out, static_cast<std::size_t>(n));
  }
  kw_charmap* cm_ = nullptr;
};

TEST_F(SymbolsTest, RangeNamesAreSpeltAndReadInTheRangeFormat) {
  const struct {
    std::int32_t format;
    std::int64_t number;
    const char* spelt;
  } names[] = {{kRangeHex | 4, 0x3400, "U3400"}, {kRangeHex | 8, 0x1F600, "U0001F600"},
               {4, 101, "U0101"}, {0, 101, "U101"}, {kRangeHex | 4, INT64_MAX, "U7FFFFFFFFFFFFFFF"}};
  for (const auto& n : names) {
    char out[kSymbolNameSize];
    EXPECT_EQ(format_range_symbol(out, sizeof out, "U", n.format, n.number), std::strlen(n.spelt));
    EXPECT_STREQ(out, n.spelt);
    EXPECT_EQ(parse_range_number(n.spelt + 1, std::strlen(n.spelt) - 1, n.format), n.number) << n.spelt;
  }
  char out[kSymbolNameSize];
  EXPECT_EQ(format_range_symbol(out, 5, "U", kRangeHex | 4, 0x3400), 0u) << "does not fit";
  const struct {
    const char* digits;
    std::int32_t format;
  } not_numbers[] = {{"03400", kRangeHex | 4} /* only the canonical spelling */, {"340", kRangeHex | 4},
                     {"34a0", kRangeHex | 4} /* upper-case digits only */, {"01A1", 4},
                     {"FFFFFFFFFFFFFFFF", kRangeHex | 4} /* beyond 63 bits */};
  for (const auto& n : not_numbers)
    EXPECT_EQ(parse_range_number(n.digits, std::strlen(n.digits), n.format), -1) << n.digits;
  EXPECT_EQ(parse_range_number("9999999999999999", 16, 0), 9999999999999999);
}

TEST_F(SymbolsTest, EucJpRoundTripsSymbolsAndRanges) {
  ASSERT_NE(use("eucjp"), nullptr);
  const std::string text = "A\xa1\xa1\xa4\xa2\x8e\xb1\x8f\xb0\xa1\xfe\xfe";
  const std::string syms = to_syms(text);
  EXPECT_EQ(syms, "<U0041><j0101><j0402><UFF71><jx1601><j9494>");
  EXPECT_EQ(to_mbs(syms.c_str()), text);
  EXPECT_EQ(to_mbs("<j0101> <U0041>\n"), "\xa1\xa1" "A");
  // Names that look close but are not characters.
  for (const char* bad : {"<j0195>", "<j101>", "<j00101>", "<jx0301>", "<U0080>", "<nosuch>"}) {
    EXPECT_EQ(to_mbs(bad), "error") << bad;
    EXPECT_KW_ERROR(cm_->error, Err::NoSymbol);
  }
  for (const char* bad : {"<>", "j0101", "<j0101", "<U0041>x"}) {
    EXPECT_EQ(to_mbs(bad), "error") << bad;
    EXPECT_KW_ERROR(cm_->error, Err::Inval);
  }
}

TEST_F(SymbolsTest, Utf8RangesRoundTripAcrossSplitRanges) {
  ASSERT_NE(use("utf8"), nullptr);
  const std::string text = "\xe3\x90\x80\xe3\x90\xbf\xe3\x91\x80\xf0\x9f\x98\x80";
  EXPECT_EQ(to_syms(text), "<U3400><U343F><U3440><U0001F600>");
  EXPECT_EQ(to_mbs("<U3400><U343F><U3440><U0001F600>"), text);
  EXPECT_EQ(to_mbs("<U1F600>"), "error") << "astral names use eight digits";
  EXPECT_KW_ERROR(cm_->error, Err::NoSymbol);
  kw_wchar_t w[8];
  EXPECT_EQ(kw_symstowcs(cm_, w, 8, "<U3400><space>"), 2);
  EXPECT_EQ(w[0], 0xE39080u);
  EXPECT_EQ(w[1], 0x20u);
  EXPECT_EQ(w[2], 0u);
  char out[64];
  EXPECT_EQ(kw_wcstosyms(cm_, out, sizeof out, w, -1), 14);
  EXPECT_STREQ(out, "<U3400><space>") << "a character's own name comes before its range name";
}

TEST_F(SymbolsTest, SymbolListHoldsEveryName) {
  ASSERT_NE(use("8859-1"), nullptr);
  char out[64];
  EXPECT_EQ(kw_mbtosymlist(cm_, out, sizeof out, " ", 1), 2);
  EXPECT_STREQ(out, "<U0020><space>");
  EXPECT_EQ(kw_mbtosymlist(cm_, out, sizeof out, "\xe9", -1), 1);
  EXPECT_STREQ(out, "<U00E9>");
  EXPECT_EQ(kw_mbtosymlist(cm_, out, sizeof out, "", 1), 2);
  EXPECT_STREQ(out, "<U0000><NUL>");
  EXPECT_EQ(kw_mbtosymlist(cm_, out, 10, " ", 1), -1);
  EXPECT_KW_ERROR(cm_->error, Err::TooBig);
  EXPECT_EQ(kw_mbtosymlist(cm_, out, sizeof out, " ", 0), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Short);
}

TEST_F(SymbolsTest, SmallBuffersAndBadArguments) {
  ASSERT_NE(use("unicode"), nullptr);
  const std::string ab("\0A\0B", 4);
  EXPECT_EQ(to_syms(ab, 15), "<U0041><U0042>");
  EXPECT_EQ(to_syms(ab, 14), "error");
  EXPECT_KW_ERROR(cm_->error, Err::TooBig);
  char out[8];
  EXPECT_EQ(kw_symstombs(cm_, out, 6, "<U0041><U0042>"), 4);
  EXPECT_EQ(std::string(out, 6), std::string("\0A\0B\0\0", 6)) << "two-byte terminator";
  EXPECT_EQ(kw_symstombs(cm_, out, 5, "<U0041><U0042>"), -1);
  EXPECT_KW_ERROR(cm_->error, Err::TooBig);
  kw_wchar_t w[2];
  EXPECT_EQ(kw_symstowcs(cm_, w, 2, "<U0041><U0042>"), -1);
  EXPECT_KW_ERROR(cm_->error, Err::TooBig);
  EXPECT_EQ(kw_mbstosyms(cm_, nullptr, 8, "\0A", 2), -1);
  EXPECT_KW_ERROR(cm_->error, Err::BadPtr);
  EXPECT_EQ(kw_symstombs(cm_, out, 8, nullptr), -1);
  EXPECT_KW_ERROR(cm_->error, Err::BadPtr);
  EXPECT_EQ(kw_mbstosyms(cm_, out, -1, "\0A", 2), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Inval);
  EXPECT_EQ(kw_mbstosyms(cm_, out, 8, "\0A", -5), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Inval);
  EXPECT_EQ(kw_mbstosyms(cm_, out, 8, "\x01\x00", 2), -1) << "01 00 is not a character";
  EXPECT_KW_ERROR(cm_->error, Err::Ilseq);
  const kw_wchar_t none[] = {0x4E02, 0};
  EXPECT_EQ(kw_wcstosyms(cm_, out, 8, none, -1), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Ilseq);
  EXPECT_EQ(kw_mbstosyms(nullptr, out, 8, "A", 1), -1);
}

// Names whose number part is too long for any range, or whose number does
// not fit 64 bits, name nothing (and must not overflow while being read).
TEST_F(SymbolsTest, OverlongRangeNumbersNameNothing) {
  ASSERT_NE(use("unicode"), nullptr);
  for (const char* syms : {"<UFFFFFFFFFFFFFFFF>", "<U8000000000000041>", "<UFFFFFFFFFFFFFFFFF>",
                           "<U99999999999999999999>", "<U>"}) {
    EXPECT_EQ(to_mbs(syms), "error") << syms;
    EXPECT_KW_ERROR(cm_->error, Err::NoSymbol);
  }
  EXPECT_EQ(to_mbs("<U0041>"), std::string("\0A", 2));
}

// The symbol conversions on a record that stands in for a failed load, and
// with every pointer and size at its edge.
TEST_F(SymbolsTest, EveryConversionSurvivesOddArguments) {
  kw_charmap* failed = nullptr;
  ASSERT_EQ(kw_cm_load(&failed, "no-such-charmap", -1, nullptr), -1);
  char out[16];
  kw_wchar_t w[4];
  const kw_wchar_t ws[] = {0x41, 0};
  EXPECT_EQ(kw_mbstosyms(failed, out, sizeof out, "A", 1), -1);
  EXPECT_EQ(kw_wcstosyms(failed, out, sizeof out, ws, -1), -1);
  EXPECT_EQ(kw_symstombs(failed, out, sizeof out, "<U0041>"), -1);
  EXPECT_EQ(kw_symstowcs(failed, w, 4, "<U0041>"), -1);
  EXPECT_EQ(kw_mbtosymlist(failed, out, sizeof out, "A", 1), -1);
  EXPECT_EQ(failed->error, 9u);
  failed->error = 0;

  ASSERT_NE(use("eucjp"), nullptr);
  for (int n : {0, -1, -2, INT_MIN}) {
    SCOPED_TRACE(n);
    std::memset(out, 0x7f, sizeof out);
    kw_mbstosyms(cm_, out, n, "A", 1);
    kw_mbstosyms(cm_, out, sizeof out, "A", n);
    kw_wcstosyms(cm_, out, n, ws, -1);
    kw_wcstosyms(cm_, out, sizeof out, ws, n);
    kw_symstombs(cm_, out, n, "<U0041>");
    kw_symstowcs(cm_, w, n, "<U0041>");
    kw_mbtosymlist(cm_, out, n, "A", 1);
    kw_mbtosymlist(cm_, out, sizeof out, "A", n);
    EXPECT_NE(cm_->error, 0u);
    cm_->error = 0;
  }
  EXPECT_EQ(kw_mbstosyms(cm_, out, 1, "", -1), 0) << "room for the terminator only";
  EXPECT_EQ(out[0], '\0');
  EXPECT_EQ(kw_symstombs(cm_, out, 1, ""), 0);
  EXPECT_EQ(kw_symstowcs(cm_, w, 1, "  "), 0);
  EXPECT_EQ(kw_mbtosymlist(cm_, nullptr, 8, "A", 1), -1);
  EXPECT_KW_ERROR(cm_->error, Err::BadPtr);
  EXPECT_EQ(kw_symstowcs(cm_, nullptr, 8, "<U0041>"), -1);
  EXPECT_KW_ERROR(cm_->error, Err::BadPtr);
}

TEST_F(SymbolsTest, EveryFixtureSymbolMapsToItsBytes) {
  for (const auto& f : kw::testing::codeset_fixtures()) {
    if (f.registry_name == "utf8") continue;  // covered by its own test; 17k ranges
    SCOPED_TRACE(f.registry_name);
    kw_charmap* cm = kw::testing::load_fixture_charmap(f.registry_name.c_str());
    ASSERT_NE(cm, nullptr);
    for (const auto& s : f.source.symbols) {
      const Result<ByteSeq> seq = symbol_to_seq(*cm, s.name.data(), s.name.size());
      ASSERT_TRUE(seq.ok()) << s.name;
      EXPECT_EQ(std::vector<std::uint8_t>(seq->bytes, seq->bytes + seq->count), s.bytes) << s.name;
    }
    for (const auto& r : f.source.ranges) {
      std::vector<std::uint8_t> b = r.first;
      for (std::int32_t k = 0; k < r.count; ++k, b = kw::writers::next_sequence(b)) {
        char name[kSymbolNameSize];
        ASSERT_NE(format_range_symbol(name, sizeof name, r.prefix.c_str(), r.format, r.first_number + k), 0u);
        const Result<ByteSeq> seq = symbol_to_seq(*cm, name, std::strlen(name));
        ASSERT_TRUE(seq.ok()) << name;
        EXPECT_EQ(std::vector<std::uint8_t>(seq->bytes, seq->bytes + seq->count), b) << name;
      }
    }
    kw_cm_unload(cm);
  }
}

}  // namespace
}  // namespace kw::codeset
