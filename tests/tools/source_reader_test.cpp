// The locale compiler's source readers: charmaps and locale definitions.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <zlib.h>

#include "charmap.h"
#include "locale_source.h"

namespace kw::localedef {
namespace {

namespace fs = std::filesystem;

// A fresh directory per test for sources that copy each other.
class SourceDir : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("kwa_localedef_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string put(const std::string& name, const std::string& text) {
    const fs::path p = dir_ / name;
    std::ofstream(p, std::ios::binary) << text;
    return p.string();
  }

  // Reads `text` as locale file "loc" in the test directory.
  std::shared_ptr<const LocaleDef> read(const std::string& text) {
    SourceReader reader({dir_.string()});
    return reader.read(put("loc", text));
  }

  // The message of the SourceError that reading `text` raises.
  std::string error_of(const std::string& text) {
    try {
      read(text);
    } catch (const SourceError& e) {
      return e.what();
    }
    return "no error";
  }

  fs::path dir_;
};

UString u(const char* ascii) {
  UString s;
  for (const char* p = ascii; *p; ++p) s.push_back(static_cast<unsigned char>(*p));
  return s;
}

constexpr char kHead[] = "comment_char %\nescape_char /\n";

// --- charmaps ---------------------------------------------------------------

constexpr char kSmallCharmap[] =
    "<code_set_name> TEST-1\n"
    "<comment_char> %\n"
    "<escape_char> /\n"
    "<mb_cur_min> 1\n"
    "<mb_cur_max> 2\n"
    "% alias TEST1\n"
    "% alias T-ONE\n"
    "CHARMAP\n"
    "<U0041>     /x41         LATIN CAPITAL LETTER A\n"
    "<U0042>     /d66         decimal byte\n"
    "<U0043>     /103         octal byte\n"
    "<j0101>...<j0103> /xa1/xfe  decimal-numbered range crossing a byte\n"
    "<U3000>     /xa1/xa1     % trailing comment\n"
    "END CHARMAP\n"
    "WIDTH\n"
    "<U3000>...<j0103> 2\n"
    "END WIDTH\n";

TEST(CharmapReader, ReadsHeaderBytesAliasesAndRanges) {
  const Charmap cm = parse_charmap("test.cm", kSmallCharmap);
  EXPECT_EQ(cm.name, "TEST-1");
  EXPECT_EQ(cm.aliases, (std::vector<std::string>{"TEST1", "T-ONE"}));
  EXPECT_EQ(cm.mb_cur_max, 2);
  EXPECT_EQ(cm.shortest, 1);
  EXPECT_EQ(cm.longest, 2);
  ASSERT_EQ(cm.chars.size(), 7u);
  EXPECT_EQ(cm.find_ucs(0x42)->bytes.value, 0x42u);
  EXPECT_EQ(cm.find_ucs(0x43)->bytes.value, 0x43u);
  // The decimal range counts bytes with carry: a1fe, a1ff, a200.
  EXPECT_EQ(cm.find_name("j0101")->bytes.value, 0xA1FEu);
  EXPECT_EQ(cm.find_name("j0103")->bytes.value, 0xA200u);
  ASSERT_EQ(cm.ranges.size(), 1u);
  EXPECT_EQ(cm.ranges[0].prefix, "j");
  EXPECT_EQ(cm.ranges[0].first_number, 101u);
  EXPECT_FALSE(cm.ranges[0].hex);
  // The WIDTH range a1a1 .. a200 covers the whole decimal range.
  EXPECT_EQ(cm.width(cm.find_name("j0102")->bytes), 2);
  EXPECT_EQ(cm.width(cm.find_ucs(0x41)->bytes), 1);
}

TEST(CharmapReader, WidthRangesFollowByteOrder) {
  // Ends written out of code-point order, as the legacy CJK charmaps do.
  const Charmap cm = parse_charmap("w.cm",
                                   "<code_set_name> W\n<escape_char> /\nCHARMAP\n"
                                   "<U4E00> /xb0/xa1\n<U3000> /xa1/xa1\n<U9FA5> /xf7/xfe\n<U0041> /x41\n"
                                   "END CHARMAP\nWIDTH\n<U3000>...<U9FA5> 2\n<U0041> 0\nEND WIDTH\n");
  EXPECT_EQ(cm.width(cm.find_ucs(0x4E00)->bytes), 2);
  EXPECT_EQ(cm.width(cm.find_ucs(0x9FA5)->bytes), 2);
  EXPECT_EQ(cm.width(cm.find_ucs(0x41)->bytes), 0);
}

TEST(CharmapReader, Utf8RangesContinueInUtf8) {
  // Counting the last byte with carry would give f0 ab a0 c0 for U+2B840.
  const Charmap cm = parse_charmap("u.cm",
                                   "<code_set_name> UTF-8\n<comment_char> %\n<escape_char> /\nCHARMAP\n"
                                   "<U0002B820>..<U0002B85F> /xf0/xab/xa0/xa0 <CJK>\nEND CHARMAP\n");
  ASSERT_EQ(cm.chars.size(), 64u);
  EXPECT_EQ(cm.find_ucs(0x2B840)->bytes.value, 0xF0ABA180u);
  EXPECT_EQ(cm.find_ucs(0x2B85F)->bytes.value, 0xF0ABA19Fu);
  EXPECT_EQ(cm.ranges[0].prefix, "U");
  EXPECT_EQ(cm.ranges[0].digits, 8);
}

TEST(CharmapReader, ReportsFileAndLine) {
  auto message = [](const std::string& text) -> std::string {
    try {
      parse_charmap("bad.cm", text);
    } catch (const SourceError& e) {
      return e.what();
    }
    return "no error";
  };
  EXPECT_EQ(message("<escape_char> /\nCHARMAP\n<U0041> /x41\n<U0042> x42\nEND CHARMAP\n"),
            "bad.cm:4: character encoding expected");
  EXPECT_EQ(message("CHARMAP\n<U0041> \\x41\n"), "bad.cm:2: CHARMAP without END CHARMAP");
  EXPECT_EQ(message("CHARMAP\n<U0041> \\x41\\x42\\x43\\x44\\x45\nEND CHARMAP\n"),
            "bad.cm:2: character of more than 4 bytes");
  EXPECT_EQ(message("CHARMAP\n<U0042>..<U0041> \\x41\nEND CHARMAP\n"),
            "bad.cm:2: range <U0042>..<U0041> runs backwards");
}

TEST_F(SourceDir, CharmapReadsGzipAndFindsByName) {
  const std::string plain = put("plain", kSmallCharmap);
  gzFile f = gzopen((dir_ / "TEST-1.gz").c_str(), "wb");
  ASSERT_NE(f, nullptr);
  gzwrite(f, kSmallCharmap, sizeof kSmallCharmap - 1);
  gzclose(f);
  const Charmap a = load_charmap("TEST-1", {dir_.string()});
  const Charmap b = load_charmap(plain, {});
  EXPECT_EQ(a.chars.size(), b.chars.size());
  EXPECT_EQ(a.name, "TEST-1");
  EXPECT_THROW(load_charmap("MISSING", {dir_.string()}), SourceError);
}

// --- locale sources: lexical matters -----------------------------------------

// Item `key` of whichever category holds it.
const Item* find_item(const LocaleDef& def, const char* key) {
  for (const ItemCategory* c : {&def.time, &def.messages, &def.monetary, &def.numeric})
    if (const Item* i = c->find(key)) return i;
  return nullptr;
}

// String values: symbols, escapes and raw UTF-8; continuation lines around
// trailing comments (a comment before the continuation mark does not end
// the line, a '%' inside a string is no comment, and a line that starts
// with the comment character continues a string); the default comment and
// escape characters when the file sets none.
TEST_F(SourceDir, ReadsStringValues) {
  const std::string head = kHead;
  const struct {
    std::string text;
    const char* key;
    std::size_t index;
    UString value;
  } rows[] = {
      {head + "LC_TIME\nd_fmt \"%d//%m<U002E><U0001F600>\"\nEND LC_TIME\n", "d_fmt", 0,
       UString{'%', 'd', '/', '%', 'm', '.', 0x1F600}},
      {head + "LC_TIME\nabmon \"M\xC3\xA4r\";\"a/\"b\"\nEND LC_TIME\n", "abmon", 0, UString{'M', 0xE4, 'r'}},
      {head + "LC_TIME\nabmon \"M\xC3\xA4r\";\"a/\"b\"\nEND LC_TIME\n", "abmon", 1, u("a\"b")},
      {head + "LC_TIME\nera \"+:1:2020//01//01:+*:<U4EE4>:%EC\"\nEND LC_TIME\n", "era", 0,
       UString{'+', ':', '1', ':', '2', '0', '2', '0', '/', '0', '1', '/', '0', '1', ':', '+', '*', ':', 0x4EE4,
               ':', '%', 'E', 'C'}},
      {head + "LC_TIME\nabday /\n   \"<U043D>\"; % first  /\n% a comment line inside the continuation\n"
              "   \"b%\";/\n   \"c\"\nEND LC_TIME\n",
       "abday", 1, u("b%")},
      {head + "LC_TIME\nabday /\n   \"<U043D>\"; % first  /\n   \"b\";/\n   \"c\"\nEND LC_TIME\n", "abday", 2,
       u("c")},
      {head + "LC_TIME\nt_fmt \"%H\" % comment\nEND LC_TIME\n", "t_fmt", 0, u("%H")},
      {head + "LC_TIME\nd_t_fmt \"%Y (%A) %H/\n%M\"\nEND LC_TIME\n", "d_t_fmt", 0, u("%Y (%A) %H%M")},
      {"LC_MESSAGES\nyesexpr \"^[yY]\" # comment\nEND LC_MESSAGES\n", "yesexpr", 0, u("^[yY]")},
      {"LC_MESSAGES\nnoexpr \\\n  \"^[nN]\"\nEND LC_MESSAGES\n", "noexpr", 0, u("^[nN]")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const auto src = read(row.text);
    const Item* item = find_item(*src, row.key);
    ASSERT_NE(item, nullptr);
    ASSERT_GT(item->values.size(), row.index);
    EXPECT_EQ(item->values[row.index].str, row.value);
  }
  const auto src = read(head + "LC_TIME\nabday \"a\"\nt_fmt \"%H\" % comment\nEND LC_TIME\n");
  EXPECT_EQ(src->time.find("t_fmt")->line, 5);
}

TEST_F(SourceDir, ReadsNumbersAndGroupings) {
  const auto src = read(std::string(kHead) +
                        "LC_MONETARY\nmon_grouping 3;2;\nfrac_digits -1\np_sign_posn 1\nEND LC_MONETARY\n");
  const Item* g = src->monetary.find("mon_grouping");
  ASSERT_EQ(g->values.size(), 2u);
  EXPECT_EQ(g->values[1].number, 2);
  EXPECT_TRUE(src->monetary.find("frac_digits")->values[0].numeric);
  EXPECT_EQ(src->monetary.find("frac_digits")->values[0].number, -1);
}

// --- locale sources: structure --------------------------------------------------

TEST_F(SourceDir, CopiesAndIncludesCategoriesFromOtherFiles) {
  put("base", std::string(kHead) +
                  "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\nEND LC_NUMERIC\n"
                  "LC_CTYPE\nupper <U0041>..<U005A>\nlower <U0061>..<U007A>\n"
                  "toupper (<U0061>,<U0041>);(<U0062>,<U0042>)\nEND LC_CTYPE\n");
  put("extra", std::string(kHead) + "LC_TIME\nd_fmt \"x\"\nt_fmt \"y\"\nEND LC_TIME\n");
  const auto src = read(std::string(kHead) +
                        "LC_NUMERIC\ncopy \"base\"\nEND LC_NUMERIC\n"
                        "LC_CTYPE\ncopy \"base\"\nupper <U00C0>\nclass \"extra\"; <U3000>;<U3001>\n"
                        "toupper (<U00E0>,<U00C0>)\nEND LC_CTYPE\n"
                        "LC_TIME\ninclude \"extra\";\"\"\nt_fmt \"z\"\nEND LC_TIME\n");
  EXPECT_EQ(src->numeric.find("decimal_point")->values[0].str, u(","));
  EXPECT_EQ(src->numeric.find("thousands_sep")->values[0].str, u("."));
  // Copied classes gain the lines that follow the copy.
  EXPECT_EQ(src->ctype.classes.at("upper"), (Ranges{{0x41, 0x5A}, {0xC0, 0xC0}}));
  EXPECT_EQ(src->ctype.classes.at("extra"), (Ranges{{0x3000, 0x3000}, {0x3001, 0x3001}}));
  EXPECT_EQ(src->ctype.toupper.size(), 3u);
  EXPECT_EQ(src->ctype.class_order.front(), "upper");
  EXPECT_EQ(src->time.find("d_fmt")->values[0].str, u("x"));
  EXPECT_EQ(src->time.find("t_fmt")->values[0].str, u("z"));
}

TEST_F(SourceDir, SkipsUnusedCategoriesTranslitAndConditionals) {
  const auto src = read(std::string(kHead) +
                        "LC_IDENTIFICATION\ntitle \"whatever\" ;;; garbage\n"
                        "category \"i18n:2012\";LC_CTYPE\nEND LC_IDENTIFICATION\n"
                        "LC_COLLATE\ndefine X\nnot parsed at all \"\nEND LC_COLLATE\n"
                        "LC_CTYPE\ncharclass jspace;jdigit\njspace <U3000>\n"
                        "translit_start\ninclude \"translit_combining\";\"\"\n\xC3\x84 \"AE\"\ntranslit_end\n"
                        "map \"totitle\"; (<U0061>,<U0041>)\n"
                        "END LC_CTYPE\n"
                        "define FLAG\n"
                        "ifdef FLAG\nLC_MESSAGES\nyesexpr \"on\"\nEND LC_MESSAGES\n"
                        "else\nLC_MESSAGES\nyesexpr \"off\"\nEND LC_MESSAGES\nendif\n"
                        "LC_PAPER\nheight 297\nEND LC_PAPER\n");
  EXPECT_TRUE(src->collate_present);
  EXPECT_EQ(src->ctype.classes.at("jspace"), (Ranges{{0x3000, 0x3000}}));
  EXPECT_TRUE(src->ctype.toupper.empty());
  EXPECT_EQ(src->messages.find("yesexpr")->values[0].str, u("on"));
}

TEST_F(SourceDir, NamesFileAndLineOfSourceErrors) {
  const std::string loc = (dir_ / "loc").string();
  EXPECT_EQ(error_of(std::string(kHead) + "LC_TIME\nd_fmt \"abc\nEND LC_TIME\n"),
            loc + ":4: unterminated string");
  EXPECT_EQ(error_of(std::string(kHead) + "LC_TIME\nd_fmt \"a\"\n"), loc + ":3: LC_TIME without END LC_TIME");
  EXPECT_EQ(error_of(std::string(kHead) + "LC_NUMERIC\ncopy \"nowhere\"\nEND LC_NUMERIC\n"),
            loc + ":4: cannot find 'nowhere' for copy");
  EXPECT_EQ(error_of(std::string(kHead) + "LC_CTYPE\nupper <U0041>..\nEND LC_CTYPE\n"),
            loc + ":4: range without an end character");
  EXPECT_EQ(error_of(std::string(kHead) + "LC_CTYPE\nbogus <U0041>\nEND LC_CTYPE\n"),
            loc + ":4: unknown keyword 'bogus' in LC_CTYPE");
  EXPECT_EQ(error_of(std::string(kHead) + "LC_CTYPE\ntoupper (<U0061>;<U0041>)\nEND LC_CTYPE\n"),
            loc + ":4: malformed case pair: (<from>,<to>) expected");
  EXPECT_EQ(error_of(std::string(kHead) + "LC_TIME\nEND LC_NUMERIC\n"), loc + ":4: END LC_NUMERIC inside LC_TIME");
  // An error inside a copied file names that file.
  put("broken", std::string(kHead) + "LC_NUMERIC\ndecimal_point \"x\nEND LC_NUMERIC\n");
  EXPECT_EQ(error_of(std::string(kHead) + "LC_NUMERIC\ncopy \"broken\"\nEND LC_NUMERIC\n"),
            (dir_ / "broken").string() + ":4: unterminated string");
}

TEST_F(SourceDir, FollowsCopiesCategoryByCategory) {
  // "a" copies its CTYPE from "b", and "b" its TIME from "a": no cycle.
  put("b", std::string(kHead) + "LC_CTYPE\nupper <U0041>\nEND LC_CTYPE\n"
                                "LC_TIME\ncopy \"loc\"\nEND LC_TIME\n");
  const auto src = read(std::string(kHead) + "LC_CTYPE\ncopy \"b\"\nEND LC_CTYPE\n"
                                             "LC_TIME\nd_fmt \"x\"\nEND LC_TIME\n");
  EXPECT_EQ(src->ctype.classes.at("upper"), (Ranges{{0x41, 0x41}}));
}

TEST_F(SourceDir, RejectsCopyCycles) {
  put("a", std::string(kHead) + "LC_TIME\ncopy \"b\"\nEND LC_TIME\n");
  put("b", std::string(kHead) + "LC_TIME\ncopy \"a\"\nEND LC_TIME\n");
  EXPECT_NE(error_of(std::string(kHead) + "LC_TIME\ncopy \"a\"\nEND LC_TIME\n").find("copy cycle"),
            std::string::npos);
}

}  // namespace
}  // namespace kw::localedef
