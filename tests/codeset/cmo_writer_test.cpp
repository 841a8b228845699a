// Tests of the charmap-object writer and the charmap source reader: what
// they write is what the loader reads.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "charmap_source.h"
#include "cmo_writer.h"
#include "codeset/charmap.h"
#include "codeset_test_support.h"
#include "fixture_sources.h"
#include "writers.h"

namespace kw::writers {
namespace {

using Bytes = std::vector<std::uint8_t>;

class CmoWriterTest : public kw::testing::KwTest {};

TEST_F(CmoWriterTest, MakeRangesSplitsWhereTheByteIncrementStops) {
  // UTF-8 U+07FE..U+0801: DF BE, DF BF, then E0 A0 80 (new length), E0 A0 81.
  std::vector<NumberedChar> chars;
  for (std::uint32_t cp = 0x7FE; cp <= 0x801; ++cp) chars.push_back({cp, kw::testing::utf8_bytes(cp)});
  // U+0840 follows U+083F with a continuation byte that would pass BF.
  for (std::uint32_t cp = 0x83E; cp <= 0x841; ++cp) chars.push_back({cp, kw::testing::utf8_bytes(cp)});
  const std::vector<CmoRange> r = make_ranges("U", 0x104, chars);
  ASSERT_EQ(r.size(), 4u);
  EXPECT_EQ(r[0].first_number, 0x7FE);
  EXPECT_EQ(r[0].count, 2);
  EXPECT_EQ(r[1].first_number, 0x800);
  EXPECT_EQ(r[1].count, 2);
  EXPECT_EQ(r[2].first_number, 0x83E);
  EXPECT_EQ(r[2].count, 2);
  EXPECT_EQ(r[3].first, (Bytes{0xE0, 0xA1, 0x80}));
  // A gap in the numbers splits as well, even when the bytes follow.
  const std::vector<CmoRange> g = make_ranges("j", 4, {{101, {0xA1, 0xA1}}, {103, {0xA1, 0xA2}}});
  EXPECT_EQ(g.size(), 2u);
  EXPECT_EQ(next_sequence({0xA1, 0xFF}), (Bytes{0xA2, 0x00}));
}

TEST_F(CmoWriterTest, RefusesWhatTheLoaderCouldNotRead) {
  std::string out, err;
  CmoSource s;
  s.codeset = "X";
  s.symbols = {{std::string(71, 'a'), {0x41}}};
  EXPECT_FALSE(write_cmo(s, out, err));
  s.symbols = {{"a b", {0x41}}};
  EXPECT_FALSE(write_cmo(s, out, err));
  s.symbols = {{"A", {1, 2, 3, 4, 5}}};
  EXPECT_FALSE(write_cmo(s, out, err));
  s.symbols = {};
  s.ranges = {CmoRange{"U", 0, 3, 0, {0xFF, 0xFE}}};  // would wrap past FF FF
  EXPECT_FALSE(write_cmo(s, out, err));
  s.ranges = {CmoRange{"U", 0, 2, 0, {0xFF, 0xFE}}};
  EXPECT_TRUE(write_cmo(s, out, err)) << err;
  // A code-set name must keep its header line whole: a line break would
  // shift every later header line, and a line of 127 characters or more is
  // read in pieces.
  s.codeset = "A\nB";
  EXPECT_FALSE(write_cmo(s, out, err));
  s.codeset = std::string(118, 'C');  // "CODESET=" + 118 + newline = 127
  EXPECT_TRUE(write_cmo(s, out, err)) << err;
  s.codeset += 'C';
  EXPECT_FALSE(write_cmo(s, out, err));
}

TEST_F(CmoWriterTest, CharmapSourceRefusesMalformedBytesAndRanges) {
  CmoSource src;
  std::string err;
  const auto read = [&](const std::string& line) {
    src = {};
    return read_charmap_source("CHARMAP\n" + line + "\nEND CHARMAP\n", src, err);
  };
  EXPECT_FALSE(read("<A> \\d300")) << "a decimal byte above 255";
  EXPECT_FALSE(read("<A> \\o777")) << "an octal byte above 255";
  ASSERT_TRUE(read("<A> \\d1a")) << err;
  EXPECT_EQ(src.symbols[0].bytes, (Bytes{1})) << "digits of the escape's own base only";
  ASSERT_TRUE(read("<A> \\o78")) << err;
  EXPECT_EQ(src.symbols[0].bytes, (Bytes{7}));
  EXPECT_FALSE(read("<U00000000>..<UFFFFFFFF> \\x00")) << "more characters than a range holds";
  EXPECT_FALSE(read("<j9999999999>...<j9999999999> \\x41")) << "a first number beyond 32 bits";
  ASSERT_TRUE(read("<j0001>...<j0003> \\x41")) << err;
  EXPECT_EQ(src.ranges[0].count, 3);
}

// A charmap source through the reader, the writer and the loader.
TEST_F(CmoWriterTest, CharmapSourceRoundTripsThroughTheLoader) {
  const std::string source =
      "<code_set_name> TOY\n"
      "<comment_char> %\n"
      "<escape_char> /\n"
      "% a comment\n"
      "CHARMAP\n"
      "<U0000> /x00 NULL\n"
      "<U0041> /x41 LATIN CAPITAL LETTER A\n"
      "<U3400>..<U3402> /xe3/x90/x80 <CJK>\n"
      "<j0101>...<j0103> /xa1/xa1 JIS\n"
      "<sl/>ash> /d92 escaped name\n"
      "<big> /xf0/x90/x80/x80/x80 too long: skipped\n"
      "END CHARMAP\n"
      "WIDTH\n<U3400>...<U3402> 2\nEND WIDTH\n";
  CmoSource src;
  std::string err, text;
  ASSERT_TRUE(read_charmap_source(source, src, err)) << err;
  EXPECT_EQ(src.codeset, "TOY");
  ASSERT_EQ(src.symbols.size(), 3u);
  EXPECT_EQ(src.symbols[2].name, "sl>ash");
  EXPECT_EQ(src.symbols[2].bytes, (Bytes{92}));
  ASSERT_EQ(src.ranges.size(), 2u);
  EXPECT_EQ(src.ranges[0].format, 0x104);
  EXPECT_EQ(src.ranges[1].format, 4);
  EXPECT_EQ(src.ranges[1].first_number, 101);

  ASSERT_TRUE(write_cmo(src, text, err)) << err;
  const auto dir = std::filesystem::temp_directory_path() /
                   ("kwa_cmo_writer_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
  ASSERT_TRUE(write_file((dir / "toy.cmo").string(), text, err)) << err;
  kw_charmap* cm = nullptr;
  ASSERT_EQ(kw_cm_load(&cm, "toy.cmo", -1, dir.string().c_str()), 0);
  EXPECT_STREQ(kw_cm_csname(cm), "TOY");
  EXPECT_EQ(kw_cm_mblen(cm, "\xe3\x90\x82", 3), 3);
  EXPECT_EQ(kw_cm_mblen(cm, "\xa1\xa3", 2), 2);
  EXPECT_EQ(kw_cm_mblen(cm, "\\", 1), 1);
  char syms[64];
  EXPECT_EQ(kw_mbstosyms(cm, syms, sizeof syms, "\xe3\x90\x82\xa1\xa2\\", -1), 22);
  EXPECT_STREQ(syms, "<U3402><j0102><sl>ash>");
  kw_cm_unload(cm);
  std::filesystem::remove_all(dir);

  EXPECT_FALSE(read_charmap_source("CHARMAP\n<U0041> /x41\n", src, err)) << "no END CHARMAP";
  EXPECT_FALSE(read_charmap_source("CHARMAP\n<U0041>..<V0042> /x41\nEND CHARMAP\n", src, err));
}

}  // namespace
}  // namespace kw::writers
