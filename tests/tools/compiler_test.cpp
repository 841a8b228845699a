// The locale compiler's output: locale, charmap and conversion objects, read
// back by the library's own readers where they exist.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <functional>
#include <filesystem>
#include <map>
#include <sstream>

#include "charmap.h"
#include "codesets.h"
#include "compile_locale.h"
#include "locale/lco_reader.h"
#include "locale/locale.h"
#include "objects.h"
#include "registry_writer.h"
#include "test_support.h"
#include "writers.h"

namespace kw::localedef {
namespace {

namespace fs = std::filesystem;

constexpr char kCharmap[] =
    "<code_set_name> TEST-2\n<comment_char> %\n<escape_char> /\n"
    "% alias T2\n"
    "CHARMAP\n"
    "<U0000> /x00\n<U0020>..<U007E> /x20\n"
    "<U00B5> /xb5\n<U00C0> /xc0\n<U00E0> /xe0\n"
    "<U039C> /xa6/xcc\n<U3000> /xa1/xa1\n<U4E00> /xb0/xa1\n<U4E01> /xb0/xa2\n"
    "END CHARMAP\n"
    "WIDTH\n<U3000>...<U4E01> 2\nEND WIDTH\n";

constexpr char kLocale[] =
    "comment_char %\nescape_char /\n"
    "LC_CTYPE\n"
    "upper <U0041>;<U00C0>;<U039C>\nlower <U0061>;<U00E0>;<U00B5>\ndigit <U0030>\n"
    "space <U0020>\npunct <U3000>\n"
    "charclass c1;c2;c3;c4;c5\n"
    "c1 <U4E00>\nc2 <U4E00>\nc3 <U4E00>\nc4 <U4E00>\nc5 <U0041>\nclass \"empty\"; <U1234>\n"
    "toupper (<U0061>,<U0041>);(<U00E0>,<U00C0>);(<U00B5>,<U039C>);(<U0101>,<U0100>)\n"
    "tolower (<U0041>,<U0061>);(<U00C0>,<U00E0>)\n"
    "END LC_CTYPE\n"
    "LC_MONETARY\ncurrency_symbol \"<U20AC>A\"\nmon_grouping 3;3\nfrac_digits -1\np_cs_precedes 1\n"
    "END LC_MONETARY\n"
    "LC_NUMERIC\ndecimal_point \",\"\ngrouping -1\nEND LC_NUMERIC\n"
    "LC_TIME\nabday \"a\";\"b\";\"c\";\"d\";\"e\";\"f\";\"g\"\nera \"+:1:2020//01//01:+*:<U4E00>:%EC\"\n"
    "alt_digits \"<U3000>\";\"<U4E01>\"\nam_pm \"A\";\"<U00C0>\"\nEND LC_TIME\n"
    "LC_MESSAGES\nyesexpr \"^[<U0061>]\"\nEND LC_MESSAGES\n";

class CompiledLocale : public kw::testing::KwTest {
 protected:
  void SetUp() override {
    KwTest::SetUp();
    dir_ = fs::temp_directory_path() / ("kwa_compiler_" + std::to_string(::getpid()) + "_" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
    cm_ = parse_charmap("test.cm", kCharmap);
    reader_ = std::make_unique<SourceReader>(std::vector<std::string>{});
    def_ = reader_->read_text((dir_ / "loc").string(), kLocale);
    result_ = compile_locale(*def_, cm_, reader_->symbols, "xx_YY.TEST-2");
  }
  void TearDown() override {
    fs::remove_all(dir_);
    KwTest::TearDown();
  }

  // The 16-bit data of the character with bytes `value` in `a`.
  static int data_of(const writers::LcoAutomaton& a, std::uint32_t value) {
    for (const writers::LcoChar& c : a.chars) {
      std::uint32_t v = 0;
      for (int i = 0; i < c.len; ++i) v = (v << 8) | c.bytes[static_cast<std::size_t>(i)];
      if (v == value) return c.data;
    }
    return -1;
  }

  fs::path dir_;
  Charmap cm_;
  std::unique_ptr<SourceReader> reader_;
  std::shared_ptr<const LocaleDef> def_;
  CompileResult result_;
};

TEST_F(CompiledLocale, ClassMasksIncludeImpliedClassesAndFullWidth) {
  const auto& ct = result_.locale.ctype;
  // full_width takes the first named bit; c1..c4 the next; c5 does not fit
  // and "empty" has no character in this code set.
  ASSERT_EQ(ct.named.size(), 5u);
  EXPECT_EQ(ct.named[0].name, "full_width");
  EXPECT_EQ(ct.named[4].name, "c4");
  bool warned = false;
  for (const std::string& w : result_.warnings) warned = warned || w.find("'c5' left out") != std::string::npos;
  EXPECT_TRUE(warned);
  EXPECT_EQ(data_of(ct.classes, 0x41), 1 | 4 | 128 | 256);  // upper: alpha, graph, print implied
  EXPECT_EQ(data_of(ct.classes, 0x20), 16 | 256);          // space is printable
  EXPECT_EQ(data_of(ct.classes, 0x30), 8 | 128 | 256);
  EXPECT_EQ(data_of(ct.classes, 0xA1A1), 64 | 128 | 256 | 2048);
  EXPECT_EQ(data_of(ct.classes, 0xB0A1), 2048 | (2048 << 1) | (2048 << 2) | (2048 << 3) | (2048 << 4));
  EXPECT_EQ(data_of(ct.classes, 0x00), 0);  // every character is present, even without classes
}

TEST_F(CompiledLocale, CasePairsAreSharedAndExpansionCountsBytes) {
  const auto& ct = result_.locale.ctype;
  const int a = data_of(ct.case_index, 0x61);
  ASSERT_GT(a, 0);
  EXPECT_EQ(ct.case_pairs[static_cast<std::size_t>(a - 1)].upper, 0x41u);
  EXPECT_EQ(ct.case_pairs[static_cast<std::size_t>(a - 1)].lower, 0u);
  const int upper_a = data_of(ct.case_index, 0x41);
  EXPECT_EQ(ct.case_pairs[static_cast<std::size_t>(upper_a - 1)].lower, 0x61u);
  EXPECT_EQ(ct.case_pairs[static_cast<std::size_t>(data_of(ct.case_index, 0xB5) - 1)].upper, 0xA6CCu);
  EXPECT_EQ(data_of(ct.case_index, 0x30), 0);  // present without a mapping
  // (<U0101>,<U0100>): neither is in the charmap, nothing is made.
  EXPECT_EQ(ct.case_pairs.size(), 5u);
  EXPECT_DOUBLE_EQ(ct.expansion, 2.0);  // b5 -> a6 cc
}

TEST_F(CompiledLocale, StringsAreEncodedAndMissingCharactersLeftOut) {
  const auto& loc = result_.locale;
  EXPECT_EQ(loc.monetary.currency_symbol, "A");
  EXPECT_EQ(loc.monetary.mon_grouping, (std::vector<int>{3, 3}));
  EXPECT_EQ(loc.monetary.frac_digits, lco::kNotAvailable);
  EXPECT_EQ(loc.monetary.p_cs_precedes, 1);
  EXPECT_EQ(loc.numeric.decimal_point, ",");
  EXPECT_TRUE(loc.numeric.grouping.empty());
  EXPECT_EQ(loc.time.era, (std::vector<std::string>{"+:1:2020/01/01:+*:\xB0\xA1:%EC"}));
  EXPECT_EQ(loc.time.alt_digits, (std::vector<std::string>{"\xA1\xA1", "\xB0\xA2"}));
  EXPECT_EQ(loc.time.pm, "\xC0");
  EXPECT_EQ(loc.messages.yesexpr, "^[a]");
  EXPECT_EQ(loc.codeset, "TEST-2");
  ASSERT_FALSE(result_.warnings.empty());
}

TEST_F(CompiledLocale, RejectsValuesOfTheWrongKind) {
  auto compile = [&](const std::string& text) -> std::string {
    SourceReader r({});
    const auto d = r.read_text((dir_ / "bad").string(), "comment_char %\nescape_char /\n" + text);
    try {
      compile_locale(*d, cm_, r.symbols, "xx_YY");
    } catch (const SourceError& e) {
      return e.what();
    }
    return "no error";
  };
  const std::string bad = (dir_ / "bad").string();
  EXPECT_EQ(compile("LC_TIME\nday \"a\";\"b\"\nEND LC_TIME\n"), bad + ":4: 'day' needs 7 strings");
  EXPECT_EQ(compile("LC_NUMERIC\ndecimal_point 3\nEND LC_NUMERIC\n"), bad + ":4: 'decimal_point' needs a string");
  EXPECT_EQ(compile("LC_MONETARY\nfrac_digits \"2\"\nEND LC_MONETARY\n"), bad + ":4: 'frac_digits' needs a number");
}

TEST_F(CompiledLocale, LibraryReadsTheLocaleObject) {
  const std::string path = (dir_ / "loc.lco").string();
  std::string error;
  ASSERT_TRUE(writers::write_file(path, writers::write_lco(result_.locale), error)) << error;
  kw_locale* h = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&h), 0);
  std::FILE* f = std::fopen(path.c_str(), "r");
  ASSERT_NE(f, nullptr);
  const Err e = kw::locale::read_whole_locale(*h, f);
  if (e != Err::None) std::fclose(f);
  EXPECT_EQ(e, Err::None);
  if (e == Err::None) {
    ASSERT_NE(h->ctype, nullptr);
    EXPECT_EQ(h->ctype->longest, 2u);
    const std::uint8_t kanji[] = {0xB0, 0xA1};
    const kw::codeset::Match m = kw::codeset::automaton_walk(*h->ctype, kanji, 2);
    ASSERT_EQ(m.err, Err::None);
    const std::uint8_t* d = kw::codeset::automaton_data(*h->ctype, m.node, m.last);
    EXPECT_EQ(d[0] | (d[1] << 8), 2048 | (2048 << 1) | (2048 << 2) | (2048 << 3) | (2048 << 4));
    EXPECT_EQ(h->n_classes, 5u);
  }
  if (h != nullptr) {
    // A handle read directly owns its categories: free them, then the handle.
    for (int c = KW_CTYPE; c <= KW_MESSAGES; ++c) kw_free_category(h, c);
    kw_free_nonshared_loc(h);
  }
}

TEST_F(CompiledLocale, LibraryReadsTheCharmapObjectWithSplitUtf8Ranges) {
  // A UTF-8 range that crosses a continuation-byte boundary.
  const Charmap u = parse_charmap("u.cm",
                                  "<code_set_name> UTF-8\n<escape_char> /\nCHARMAP\n<U0041> /x41\n"
                                  "<U0002B820>..<U0002B85F> /xf0/xab/xa0/xa0 <CJK>\nEND CHARMAP\n");
  const writers::CmoSource src = make_cmo(u);
  EXPECT_EQ(src.ranges.size(), 2u);
  std::string text, error;
  ASSERT_TRUE(writers::write_cmo(src, text, error)) << error;
  ASSERT_TRUE(writers::write_file((dir_ / "u.cmo").string(), text, error));
  kw_charmap* cm = nullptr;
  ASSERT_EQ(kw_cm_load(&cm, "u.cmo", -1, dir_.c_str()), 0);
  EXPECT_EQ(kw_cm_mblen(cm, "\xF0\xAB\xA1\x80", 4), 4);  // U+2B840
  EXPECT_EQ(kw_cm_mblen(cm, "\xF0\xAB\xA1\x9F", 4), 4);  // U+2B85F
  EXPECT_EQ(kw_cm_mblen(cm, "\xF0\xAB\xA0\xC0", 4), -1);
  EXPECT_EQ(kw_mb_cm_max(cm), 4);
  kw_cm_unload(cm);
}

// --- conversion objects --------------------------------------------------------

// Reads the tables of a conversion object back: (input bytes -> entry
// bytes), following the node form of the automaton dump.
// Orders byte strings element by element. (The library's own ordering of
// vectors trips a false out-of-bounds warning in GCC 12 at -O3.)
struct BytesLess {
  bool operator()(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) const {
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
      if (a[i] != b[i]) return a[i] < b[i];
    return a.size() < b.size();
  }
};

struct CvoRead {
  std::vector<int> numbers;  // the body's integers before the tables
  std::map<std::vector<std::uint8_t>, std::vector<std::uint8_t>, BytesLess> table;
};

CvoRead read_cvo(const std::string& text) {
  std::istringstream in(text);
  std::string line;
  CvoRead r;
  std::getline(in, line);
  std::getline(in, line);
  std::getline(in, line);
  const int header = std::stoi(line.substr(line.find('=') + 1));
  for (int i = 3; i < header; ++i) std::getline(in, line);
  int v;
  in >> v >> v;
  std::string controls;
  for (int i = 0; i < 4; ++i) in >> controls;
  for (int i = 0; i < 7; ++i) {
    in >> v;
    r.numbers.push_back(v);
  }
  double expansion;
  in >> expansion;
  int longest, shortest, flags;
  in >> longest >> shortest >> flags;
  auto hex = [&](int n) {
    in >> std::ws;
    std::string s(static_cast<std::size_t>(n), ' ');
    in.read(s.data(), n);
    return static_cast<int>(std::stoul(s, nullptr, 16));
  };
  auto entry = [&]() {
    std::vector<std::uint8_t> e{static_cast<std::uint8_t>(hex(2))};
    for (int i = 0; i < (e[0] & 7); ++i) e.push_back(static_cast<std::uint8_t>(hex(2)));
    return e;
  };
  entry();  // default
  std::function<void(std::vector<std::uint8_t>)> node = [&](std::vector<std::uint8_t> prefix) {
    int has_class, has_data;
    in >> has_class >> has_data;
    std::array<int, 256> cls{};
    std::array<std::vector<std::uint8_t>, 256> data{};
    auto runs = [&](bool classes) {
      for (;;) {
        const int start = hex(2), width = hex(3), repeat = hex(3);
        if (width == 0) return;
        std::vector<std::vector<std::uint8_t>> items;
        for (int i = 0; i < width; ++i) items.push_back(classes ? std::vector<std::uint8_t>{static_cast<std::uint8_t>(hex(2))} : entry());
        for (int k = 0; k < repeat; ++k)
          for (int i = 0; i < width; ++i) {
            const auto at = static_cast<std::size_t>(start + k * width + i);
            if (classes) cls[at] = items[static_cast<std::size_t>(i)][0];
            else data[at] = items[static_cast<std::size_t>(i)];
          }
      }
    };
    if (has_class) runs(true);
    if (has_data) runs(false);
    for (int b = 0; b < 256; ++b) {
      auto key = prefix;
      key.push_back(static_cast<std::uint8_t>(b));
      if (cls[static_cast<std::size_t>(b)] == 4) r.table[key] = data[static_cast<std::size_t>(b)];
    }
    for (int b = 0; b < 256; ++b)
      if (cls[static_cast<std::size_t>(b)] == 1) {
        auto key = prefix;
        key.push_back(static_cast<std::uint8_t>(b));
        node(key);
      }
  };
  node({});
  return r;
}

using B = std::vector<std::uint8_t>;

TEST(ConversionObjects, SingleByteTableWithNulEndAndSubstitution) {
  const Charmap a = parse_charmap("a", "<escape_char> /\nCHARMAP\n<U0000> /x00\n<U0041> /x41\n<U00C4> /xc4\n"
                                       "<U20AC> /x80\nEND CHARMAP\n");
  const Charmap b = parse_charmap("b", "<escape_char> /\nCHARMAP\n<U0000> /x00\n<U0041> /x61\n<U00C4> /x8e\n"
                                       "<U003F> /x3f\nEND CHARMAP\n");
  writers::CvoSource plain = make_cvo(a, b, std::nullopt);
  EXPECT_EQ(writers::cvo_shape(plain), writers::CvoShape::SingleByte);
  CvoRead r = read_cvo(writers::write_cvo(plain));
  EXPECT_EQ(r.table.at(B{0x00}), (B{0x19, 0x00}));  // mapped, ends a string, one byte
  EXPECT_EQ(r.table.at(B{0x41}), (B{0x11, 0x61}));
  EXPECT_EQ(r.table.at(B{0xC4}), (B{0x11, 0x8E}));
  EXPECT_EQ(r.table.count(B{0x80}), 0u);  // the euro sign stays unmapped
  const writers::CvoSource subst = make_cvo(a, b, Bytes{0x3F, 1});
  r = read_cvo(writers::write_cvo(subst));
  EXPECT_EQ(r.table.at(B{0x80}), (B{0x21, 0x3F}));
}

TEST(ConversionObjects, TwoByteShapesAreWrittenSwapped) {
  // Every source character two bytes: the two-byte-source converter looks
  // its input up second byte first.
  const Charmap dbcs = parse_charmap("d", "<escape_char> /\nCHARMAP\n<U0041> /x00/x41\n<U3042> /x30/x42\nEND CHARMAP\n");
  const Charmap euc = parse_charmap("e", "<escape_char> /\nCHARMAP\n<U0041> /xa3/xc1\n<U3042> /xa4/xa2\nEND CHARMAP\n");
  writers::CvoSource from_dbcs = make_cvo(dbcs, euc, std::nullopt);
  EXPECT_EQ(writers::cvo_shape(from_dbcs), writers::CvoShape::TwoByteSource);
  CvoRead r = read_cvo(writers::write_cvo(from_dbcs));
  EXPECT_EQ(r.table.at(B({0x41, 0x00})), (B{0x12, 0xA3, 0xC1}));
  // Every output two bytes: the two-byte-target converter writes the
  // entry's second byte first.
  const Charmap sb = parse_charmap("s", "<escape_char> /\nCHARMAP\n<U0041> /x41\n<U3042> /x82\nEND CHARMAP\n");
  writers::CvoSource to_euc = make_cvo(sb, euc, std::nullopt);
  EXPECT_EQ(writers::cvo_shape(to_euc), writers::CvoShape::TwoByteTarget);
  r = read_cvo(writers::write_cvo(to_euc));
  EXPECT_EQ(r.table.at(B{0x41}), (B{0x12, 0xC1, 0xA3}));
  EXPECT_EQ(r.numbers[0], 2);  // target minimum
  EXPECT_EQ(r.numbers[4], 1);  // source minimum
  // Mixed lengths: the general converter.
  const Charmap mixed = parse_charmap("m", "<escape_char> /\nCHARMAP\n<U0041> /x41\n<U3042> /xa4/xa2\nEND CHARMAP\n");
  EXPECT_EQ(writers::cvo_shape(make_cvo(mixed, sb, std::nullopt)), writers::CvoShape::General);
}

// --- code-set numbers and the registry ----------------------------------------------

TEST(CodesetNumbers, WellKnownBuiltinAndPrivate) {
  const CodesetNumbers numbers;
  EXPECT_EQ(numbers.number("ISO-8859-1"), 819);
  EXPECT_EQ(numbers.number("IBM437"), 437);
  EXPECT_EQ(numbers.number("UTF-8"), 57372);
  EXPECT_EQ(numbers.number("EUC-JP"), 5050);
  EXPECT_EQ(numbers.number("Latin-2"), 912);                  // a built-in table name
  EXPECT_EQ(numbers.number("MYSET", {"x", "pc-latin-1"}), 850);  // through an alias
  const std::uint16_t p = numbers.number("NO-SUCH-SET");
  EXPECT_GE(p, kPrivateFirst);
  EXPECT_EQ(p, private_number("no-such-set"));  // case does not matter
  EXPECT_EQ(hex4(819), "0333");
}

TEST(CodesetNumbers, PrivateNumbersDoNotCollide) {
  // GBK and CP770 hash to the same slot: in name order CP770 keeps it and
  // GBK moves on, whichever order the names come in.
  ASSERT_EQ(private_number("GBK"), private_number("CP770"));
  const CodesetNumbers a({"GBK", "CP770"}), b({"cp770", "gbk", "UTF-8"});
  EXPECT_EQ(a.number("CP770"), private_number("CP770"));
  EXPECT_NE(a.number("GBK"), a.number("CP770"));
  EXPECT_EQ(a.number("GBK"), b.number("gbk"));
  // A name outside the universe avoids the numbers taken.
  const CodesetNumbers c({"CP770"});
  EXPECT_NE(c.number("GBK"), c.number("CP770"));
}

TEST(CodesetNumbers, RegistryListsBuiltinNamesThenCharmaps) {
  const Charmap cm = parse_charmap("x", "<code_set_name> ISO-8859-1\n<comment_char> %\n% alias LATIN1\n% alias "
                                        "A-NAME-FAR-TOO-LONG-FOR-IT\nCHARMAP\n<U0041> \\x41\nEND CHARMAP\n");
  std::vector<std::string> warnings;
  const std::string text = registry_text({{cm.name, cm.aliases}}, CodesetNumbers(), warnings);
  std::istringstream in(text);
  std::string first;
  while (std::getline(in, first) && !first.empty() && first[0] == '#') {
  }
  EXPECT_EQ(first, "ascii 364");
  EXPECT_NE(text.find("\niso-8859-1 819\n"), std::string::npos);
  EXPECT_NE(text.find("\nlatin1 819\n"), std::string::npos);
  EXPECT_LT(text.find("\nc 819\n"), text.find("\niso-8859-1 819\n"));
  // "greek" is in the built-in table twice: listed once.
  EXPECT_EQ(text.find("\ngreek 737\n"), text.rfind("\ngreek 737\n"));
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_NE(warnings[0].find("A-NAME-FAR-TOO-LONG-FOR-IT"), std::string::npos);
}

}  // namespace
}  // namespace kw::localedef
