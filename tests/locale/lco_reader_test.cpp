// The locale object reader: tokens, the serialised automaton in both forms,
// every failure of the loader, and round trips through the writer.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <tuple>

#include "codeset/automaton.h"
#include "kwa.h"
#include "locale/lco_input.h"
#include "locale/locale.h"
#include "locale_fixtures.h"
#include "locale_test_support.h"
#include "lco_writer.h"
#include "writers.h"

namespace kw::testing {
namespace {

using locale::LcoInput;

class LcoTokenTest : public KwTest {
 protected:
  LcoInput& input(const std::string& text) {
    text_ = text;
    in_.assign(text_.data(), text_.size());
    return in_;
  }
  std::string text_;
  LcoInput in_;
};

TEST_F(LcoTokenTest, IntegerTakesFirstCharacterThenDigitsAndPushesBackTheRest) {
  std::int32_t v = 0;
  auto& in = input("  -12x");
  ASSERT_EQ(in.integer(v), Err::None);
  EXPECT_EQ(v, -12);
  EXPECT_EQ(in.get(), 'x');

  // Not a number: the first character is consumed all the same.
  auto& in2 = input("abc");
  ASSERT_EQ(in2.integer(v), Err::None);
  EXPECT_EQ(v, 0);
  EXPECT_EQ(in2.get(), 'b');

  // Digits beyond the 39th are read and dropped; the value saturates.
  auto& in3 = input("1" + std::string(50, '0') + " 7");
  ASSERT_EQ(in3.integer(v), Err::None);
  EXPECT_EQ(v, 0x7FFFFFFF);
  ASSERT_EQ(in3.integer(v), Err::None);
  EXPECT_EQ(v, 7);

  EXPECT_EQ(input("   ").integer(v), Err::BadType);
}

TEST_F(LcoTokenTest, HexIsLenientButStringBytesCountOtherCharactersAsZero) {
  std::uint32_t v = 0;
  ASSERT_EQ(input("1g").hex(2, v), Err::None);
  EXPECT_EQ(v, 16u + 'g');
  ASSERT_EQ(input("00FFaB").hex(6, v), Err::None);
  EXPECT_EQ(v, 0xFFABu);
  EXPECT_EQ(input("1").hex(2, v), Err::BadType);

  char* s = nullptr;
  ASSERT_EQ(input("2 4G41").string(s), Err::None);
  EXPECT_EQ(std::string(s, 2), std::string("\x40\x41"));
  kw_mem_free(s);
}

TEST_F(LcoTokenTest, StringNeedsOneBlankAfterAPositiveLengthAndEndsInFourZeros) {
  char* s = nullptr;
  auto& in = input("3 414243 \n  next");
  ASSERT_EQ(in.string(s), Err::None);
  EXPECT_EQ(std::memcmp(s, "ABC\0\0\0\0", 7), 0);
  EXPECT_EQ(in.get(), 'n');
  kw_mem_free(s);

  ASSERT_EQ(input("0\n").string(s), Err::None);  // no blank needed
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(std::memcmp(s, "\0\0\0\0", 4), 0);
  kw_mem_free(s);

  EXPECT_EQ(input("2\t4142").string(s), Err::NoFile);
  EXPECT_EQ(s, nullptr);
  EXPECT_EQ(input("9 41").string(s), Err::BadType);  // truncated
}

TEST_F(LcoTokenTest, GroupingHoldsFifteenValuesAndFailsAfterTheFifteenth) {
  std::int32_t count = 0, values[15];
  std::string fifteen = "15";
  for (int i = 0; i < 15; ++i) fifteen.append(" ").append(std::to_string(i));
  auto& in = input(fifteen + " x");
  ASSERT_EQ(in.grouping(count, values), Err::None);
  EXPECT_EQ(count, 15);
  EXPECT_EQ(values[14], 14);
  EXPECT_EQ(in.get(), 'x');

  EXPECT_EQ(input("16" + fifteen.substr(2) + " 15").grouping(count, values), Err::BadIndex);
}

TEST_F(LcoTokenTest, TokenStopsAtSeventyCharactersOrWhiteSpace) {
  char out[80];
  auto& in = input("  " + std::string(75, 'a') + " b");
  ASSERT_EQ(in.token(out, sizeof out), Err::None);
  EXPECT_EQ(std::strlen(out), 70u);
  ASSERT_EQ(in.token(out, sizeof out), Err::None);
  EXPECT_STREQ(out, "aaaaa");
  ASSERT_EQ(in.token(out, sizeof out), Err::None);
  EXPECT_STREQ(out, "b");
}

// The characters of an automaton as (bytes, data), in byte order.
std::set<std::tuple<std::string, std::uint16_t>> characters(const codeset::Automaton& a) {
  std::set<std::tuple<std::string, std::uint16_t>> out;
  codeset::automaton_for_each(a, [&](const std::uint8_t* seq, std::size_t n, const std::uint8_t* data) {
    std::uint16_t d;
    std::memcpy(&d, data, 2);
    out.emplace(std::string(reinterpret_cast<const char*>(seq), n), d);
    return true;
  });
  return out;
}

std::set<std::tuple<std::string, std::uint16_t>> characters(const writers::LcoAutomaton& a) {
  std::set<std::tuple<std::string, std::uint16_t>> out;
  for (const auto& c : a.chars)
    out.emplace(std::string(reinterpret_cast<const char*>(c.bytes.data()), c.len), c.data);
  return out;
}

class AutomatonFormTest : public LcoTokenTest {
 protected:
  codeset::Automaton* read(const std::string& text, Err expect = Err::None) {
    auto r = locale::read_automaton(input(text));
    EXPECT_EQ(r.error(), expect);
    return r ? *r : nullptr;
  }
};

TEST_F(AutomatonFormTest, CompactAndNodeFormsLoadTheSameCharacters) {
  const writers::LcoAutomaton src = utf8_locale().ctype.classes;
  const std::string nodes = writers::write_lco_automaton(src, writers::AutomatonForm::Nodes);
  const std::string compact = writers::write_lco_automaton(src, writers::AutomatonForm::Compact);
  EXPECT_LT(compact.size(), nodes.size());
  EXPECT_EQ(writers::write_lco_automaton(src, writers::AutomatonForm::Smallest), compact);

  codeset::Automaton* a = read(nodes);
  codeset::Automaton* b = read(compact);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(characters(*a), characters(src));
  EXPECT_EQ(characters(*b), characters(src));
  EXPECT_EQ(a->longest, 4u);
  EXPECT_EQ(a->shortest, 1u);
  EXPECT_EQ(b->longest, 4u);
  // Equal tables are held once: far fewer class tables than nodes.
  EXPECT_LT(b->n_class_tables, 20u);
  codeset::automaton_release(a);
  codeset::automaton_release(b);
}

TEST_F(AutomatonFormTest, EmptyAutomatonHasNoCharacters) {
  codeset::Automaton* a = read(writers::write_lco_automaton({}, writers::AutomatonForm::Nodes));
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->longest, 0u);
  EXPECT_EQ(a->shortest, 4u);
  EXPECT_TRUE(characters(*a).empty());
  codeset::automaton_release(a);
}

TEST_F(AutomatonFormTest, RejectsLongSequencesAndMalformedBodies) {
  read("5 1 1\n0000\n0 0\n", Err::KeyTooLong);
  // Five nested levels of class 1 under the first byte.
  std::string deep = "4 1 1\n0000\n";
  for (int i = 0; i < 5; ++i) deep += "1 0\n00001001" "01\n00000000\n";
  deep += "0 0\n";
  read(deep, Err::KeyTooLong);
  // Compact body whose node count does not match the children.
  read("1 1 3\n0000\n3 1\n0\n00001001" "04\n00000000\n0 -1\n-1 -1\n-1 -1\n", Err::BadType);
  // A node referring to a data table as its class table.
  read("1 1 3\n0000\n1 1\n1\n00001001" "0001\n00000000\n0 -1\n", Err::BadType);
  // A run that writes past entry 255.
  read("1 1 1\n0000\n1 0\nFF002001" "0404\n00000000\n", Err::BadType);
  read("1 1 1\n0000\n1 0\n0000", Err::BadType);  // truncated
}

TEST_F(AutomatonFormTest, FailedAllocationsLeakNothing) {
  const std::string text =
      writers::write_lco_automaton(utf8_locale().ctype.classes, writers::AutomatonForm::Compact);
  for_each_failing_allocation([&] {
    auto r = locale::read_automaton(input(text));
    if (r) codeset::automaton_release(*r);
    else EXPECT_EQ(r.error(), Err::NoMem);
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
}

// Every failure of the whole-locale reader, through kw_createlocale2_4.
class LoaderFailureTest : public LocaleTest {};

TEST_F(LoaderFailureTest, WholeLocaleReaderStoresTheErrorAndLogsTheSection) {
  struct Row {
    const char* variant;
    std::uint32_t error;
    const char* log;
  };
  const Row rows[] = {
      {"bad_type", 11, nullptr},
      {"bad_version", 51, nullptr},
      {"no_marker", 11, nullptr},
      {"grouping16", 4, "Failed to read numeric information\n"},
      {"no_blank", 8, "Failed to read numeric information\n"},
      {"long_key", 21, nullptr},
      {"bad_calendar", 50, "Failed to read time information\n"},
      {"bad_collate", 0, nullptr},
      {"bad_messages", 8, "Failed to read messages information\n"},
      {"empty_ctype", 57, "Failed to initialize numeric information\n"},
      {"truncated", 11, "Failed to read time information\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.variant);
    const std::size_t before = log_text().size();
    kw_locale* h = nullptr;
    EXPECT_EQ(kw_createlocale2_4(&h, bad_dir(row.variant).c_str()), -1);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(error_of(h), row.error);
    const std::string log = log_text().substr(before);
    if (row.log != nullptr) {
      EXPECT_NE(log.find(row.log), std::string::npos) << log;
    }
    EXPECT_EQ(log.find("Failed to"), row.log == nullptr ? std::string::npos : log.find(row.log));
    kw_lc_unload(h);
  }
}

TEST_F(LoaderFailureTest, OneCategoryReaderChecksTheCodeSetAndReadsOnlyItsSection) {
  kw_locale* h = load_default();
  // The MONETARY section is read although the TIME section is broken.
  EXPECT_NE(set_locale(h, KW_MONETARY, bad_file("bad_calendar").c_str()), "<null>");
  EXPECT_EQ(error_of(h), 0u);

  EXPECT_EQ(kw_setlocale_4(h, KW_NUMERIC, bad_file("other_codeset").c_str()), nullptr);
  EXPECT_EQ(error_of(h), 58u);

  EXPECT_EQ(kw_setlocale_4(h, KW_COLLATE, bad_file("bad_collate").c_str()), nullptr);
  EXPECT_EQ(error_of(h), 55u);

  const std::size_t before = log_text().size();
  EXPECT_EQ(kw_setlocale_4(h, KW_MESSAGES, bad_file("bad_messages").c_str()), nullptr);
  EXPECT_EQ(error_of(h), 8u);
  EXPECT_NE(log_text().substr(before).find("Failed to initialize messages information\n"), std::string::npos);

  EXPECT_EQ(kw_setlocale_4(h, KW_TIME, bad_file("no_marker").c_str()), nullptr);
  EXPECT_EQ(error_of(h), 11u);
  kw_lc_unload(h);
}

TEST_F(LoaderFailureTest, CategoryInitialisationNeedsCharacters) {
  kw_locale* h = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&h), 0);
  ASSERT_NE(set_locale(h, KW_CTYPE, bad_file("empty_ctype").c_str()), "<null>");
  const std::size_t before = log_text().size();
  EXPECT_EQ(kw_setlocale_4(h, KW_TIME, bad_file("empty_ctype").c_str()), nullptr);
  EXPECT_EQ(error_of(h), 57u);
  EXPECT_NE(log_text().substr(before).find("Failed to initialize time information\n"), std::string::npos);
  kw_lc_unload(h);
}

// Round trips: write with the writer, load through the library, compare.
class RoundTripTest : public LocaleTest {};

TEST_F(RoundTripTest, SingleByteLocaleKeepsEveryField) {
  const writers::LocaleSource src = latin1_locale();
  kw_locale* h = nullptr;
  ASSERT_EQ(kw_lc_load(&h, "en_us.8859-1", nullptr, nullptr), 0) << error_of(h);
  EXPECT_EQ(kw_mb_loc_max(h), 1);
  EXPECT_EQ(h->single_byte, 1u);
  EXPECT_EQ(characters(*h->ctype), characters(src.ctype.classes));
  EXPECT_EQ(characters(*h->ctype_case), characters(src.ctype.case_index));
  ASSERT_EQ(h->n_classes, 1u);
  EXPECT_EQ(h->classes[0].mask, 2048u);
  EXPECT_STREQ(h->classes[0].name, "vowel");
  ASSERT_EQ(h->n_case_pairs, src.ctype.case_pairs.size());
  EXPECT_EQ(h->case_pairs[1].upper, static_cast<std::uint32_t>('A'));
  EXPECT_EQ(h->case_pairs[1].lower, static_cast<std::uint32_t>('a'));
  EXPECT_DOUBLE_EQ(h->ctype_expansion, 1.5);
  // Derived single-byte tables.
  ASSERT_NE(h->sb_upper, nullptr);
  EXPECT_EQ(h->sb_upper['a'], 'A');
  EXPECT_EQ(h->sb_lower[0xC9], 0xE9);
  EXPECT_EQ(h->sb_upper['1'], '1');
  EXPECT_EQ(h->sb_class['e'] & 2048, 2048);
  EXPECT_EQ(h->head.codec.sb_class, h->sb_class);

  // COLLATE.
  EXPECT_EQ(h->coll_kind, 1);
  EXPECT_EQ(h->coll_levels, 1);
  EXPECT_EQ(h->coll_max_index, 257);
  EXPECT_EQ(h->coll_level_dirs[0], 1u);
  EXPECT_EQ(h->coll_weights[0]['a'], 'a' + 2);
  ASSERT_EQ(h->coll_n_elements, 2);
  EXPECT_EQ(h->coll_elements[1].weight_index, 257);
  EXPECT_EQ(h->coll_elements[1].chars[1], static_cast<kw_wchar_t>('l'));
  ASSERT_EQ(h->coll_n_expansions, 2);
  EXPECT_EQ(h->coll_expansions[1].count, 5u);
  EXPECT_DOUBLE_EQ(h->max_coll_expansion, 5.0);
  ASSERT_NE(h->coll_element_index, nullptr);
  EXPECT_EQ(h->coll_element_index['c'], 1u);
  EXPECT_EQ(h->coll_element_index['l'], 2u);
  EXPECT_EQ(h->coll_element_index['a'], 0u);
  EXPECT_EQ(h->coll_element_list[1], &h->coll_elements[1]);
  EXPECT_EQ(h->coll_element_list[2], nullptr);
  EXPECT_EQ(h->coll_tables, 1u);

  // NUMERIC, MONETARY, TIME, MESSAGES.
  EXPECT_EQ(item_bytes(h, 56), ",");
  EXPECT_EQ(h->grouping.count, 2);
  EXPECT_EQ(item_bytes(h, 59), "$");
  EXPECT_EQ(h->int_frac_digits, 2);
  EXPECT_EQ(item_bytes(h, 15), "January");
  EXPECT_EQ(item_bytes(h, 8), "Sun");
  EXPECT_EQ(item_bytes(h, 1), "Sunday");
  EXPECT_EQ(item_bytes(h, 66), src.time.era[0] + ";" + src.time.era[1]);
  EXPECT_EQ(item_bytes(h, 70), "zero;one;two");
  EXPECT_EQ(item_bytes(h, 67), src.time.era_d_fmt);
  EXPECT_EQ(item_bytes(h, 69), src.time.era_d_t_fmt);
  EXPECT_EQ(item_bytes(h, 68), src.time.era_t_fmt);
  EXPECT_EQ(item_bytes(h, 71), "^[yY].*");
  kw_lconv* c = kw_localeconv(h);
  EXPECT_STREQ(c->mon_grouping, "\3\3");
  EXPECT_STREQ(c->int_curr_symbol, "USD ");
  EXPECT_EQ(c->p_sign_posn, 1);
  kw_lc_unload(h);
}

TEST_F(RoundTripTest, MultibyteLocalesEndStringsInZeroBytesAndWidenByCharacter) {
  kw_locale* h = nullptr;
  ASSERT_EQ(kw_lc_load(&h, "xx_yy.twobyte", nullptr, nullptr), 0) << error_of(h);
  EXPECT_EQ(kw_mb_loc_min(h), 2);
  EXPECT_EQ(kw_mb_loc_max(h), 2);
  EXPECT_EQ(h->single_byte, 0u);
  EXPECT_EQ(h->sb_class, nullptr);
  EXPECT_EQ(item_bytes(h, 55), two_bytes("."));
  EXPECT_EQ(item_wide(h, 55), std::vector<kw_wchar_t>{'.'});
  EXPECT_EQ(item_wide(h, 59), std::vector<kw_wchar_t>{0x3001});
  EXPECT_EQ(item_wide(h, 35), (std::vector<kw_wchar_t>{'J', 'a', 'n'}));
  kw_lc_unload(h);

  ASSERT_EQ(kw_lc_load(&h, "ja_jp.utf8", nullptr, nullptr), 0) << error_of(h);
  EXPECT_EQ(kw_mb_loc_min(h), 1);
  EXPECT_EQ(kw_mb_loc_max(h), 4);
  EXPECT_EQ(item_wide(h, 35), (std::vector<kw_wchar_t>{'1', 0xE69C88}));
  EXPECT_EQ(item_wide(h, 8), std::vector<kw_wchar_t>{0xE697A5});
  EXPECT_EQ(item_bytes(h, 60), "utf8");
  EXPECT_EQ(kw_localeconv(h)->wcurrency_symbol[0], 0xEFBFA5u);
  // The handle's multibyte-to-wide entry point follows the code set.
  kw_wchar_t w[4] = {};
  EXPECT_EQ(h->head.mbfstowcfs(h, w, "1\xE6\x9C\x88", 4, 4), 2);
  EXPECT_EQ(w[1], 0xE69C88u);
  kw_lc_unload(h);
}

// Objects edited by hand from the writer's text, read from a scratch file
// into one category of a locale.
class EditedObjectTest : public LocaleTest {
 protected:
  // A locale (the default one, or the null locale) with `category` read
  // from `text`; fails the test when it cannot be read.
  kw_locale* load_edited(int category, const std::string& text, bool null_locale = false) {
    const std::string path = ::testing::TempDir() + "kwa_edited_" + std::to_string(paths_.size()) + ".lco";
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    paths_.push_back(path);
    kw_locale* h = nullptr;
    if (null_locale) EXPECT_EQ(kw_create_null_locale_4(&h), 0);
    else h = load_default();
    EXPECT_NE(set_locale(h, category, path.c_str()), "<null>") << error_of(h);
    return h;
  }
  void TearDown() override {
    for (const auto& p : paths_) std::filesystem::remove(p);
    LocaleTest::TearDown();
  }
  std::vector<std::string> paths_;
};

TEST_F(EditedObjectTest, ClassNumbersBelow2048AreBitNumbersOthersAreMasks) {
  writers::LocaleSource src = latin1_locale();
  src.ctype.named = {{"vowel", 0}, {"round", 3}, {"wide", 0}};
  std::string text = writers::write_lco(src);
  const std::size_t at = text.find("0 wide\n");
  ASSERT_NE(at, std::string::npos);
  text.replace(at, 1, "16384");
  kw_locale* h = load_edited(KW_CTYPE, text);
  ASSERT_EQ(h->n_classes, 3u);
  EXPECT_EQ(h->classes[0].mask, 2048u);
  EXPECT_EQ(h->classes[1].mask, 2048u << 3);
  EXPECT_EQ(h->classes[2].mask, 16384u);
  EXPECT_STREQ(h->classes[2].name, "wide");
  kw_lc_unload(h);
}

TEST_F(EditedObjectTest, LongCodeSetNameIsCutAtTwentyCharacters) {
  std::string text = writers::write_lco(posix_locale());
  text = text.replace(text.find("\n8859-1\n"), 8, "\n8859-1-and-a-much-longer-name\n");
  kw_locale* h = load_edited(KW_CTYPE, text, true);
  EXPECT_STREQ(locale::codeset_name(*h, KW_CTYPE), "8859-1-and-a-much-lo");
  kw_lc_unload(h);
}

TEST_F(EditedObjectTest, ThaiCollationReadsNothingMoreAndEmptyExpansionMeansFour) {
  writers::LocaleSource src = posix_locale();
  src.collate.kind = writers::CollateSource::Kind::Thai;
  src.ctype.expansion = -1;
  kw_locale* h = load_edited(KW_COLLATE, writers::write_lco(src));
  EXPECT_EQ(h->coll_kind, 2);
  EXPECT_EQ(h->coll_levels, 0);
  EXPECT_EQ(h->coll_weights[0], nullptr);
  EXPECT_EQ(h->coll_table_form, 0);
  EXPECT_EQ(h->coll_tables, 0u);
  ASSERT_NE(h->coll, nullptr);
  EXPECT_EQ(h->coll->longest, 0u);
  kw_lc_unload(h);
  h = load_edited(KW_CTYPE, writers::write_lco(src));
  EXPECT_DOUBLE_EQ(h->ctype_expansion, 4.0);
  kw_lc_unload(h);
}

// Regression: the wide forms of a multibyte locale loaded over a
// single-byte one were made byte by byte (the old single-byte flag).
TEST_F(RoundTripTest, ReloadingAnotherCodeSetWidensByTheNewRules) {
  kw_locale* h = load_default();
  ASSERT_NE(set_locale(h, KW_ALL, "ja_jp/e01c.lco"), "<null>") << error_of(h);
  EXPECT_EQ(item_wide(h, 35), (std::vector<kw_wchar_t>{'1', 0xE69C88}));
  EXPECT_EQ(h->sb_class, nullptr);
  EXPECT_EQ(h->single_byte, 0u);
  kw_lc_unload(h);
}

}  // namespace
}  // namespace kw::testing

namespace kw::testing {
namespace {

int g_fgets_calls = 0;
bool g_fgets_fails = false;

char* KW_CALL counting_fgets(char* buffer, int size, std::FILE* f) {
  ++g_fgets_calls;
  return g_fgets_fails ? nullptr : std::fgets(buffer, size, f);
}

class StreamHookTest : public LocaleTest {};

TEST_F(StreamHookTest, ObjectsAreReadThroughTheLineReadHook) {
  g_fgets_calls = 0;
  g_fgets_fails = false;
  kw_setextfunc(nullptr, KW_EXT_FGETS, reinterpret_cast<kw_extfunc>(&counting_fgets));
  kw_locale* h = load_default();
  EXPECT_GT(g_fgets_calls, 0);
  kw_lc_unload(h);

  // A stream that reads nothing has no header.
  g_fgets_fails = true;
  EXPECT_EQ(kw_createlocale_4(&h), -1);
  EXPECT_EQ(error_of(h), 11u);
  kw_lc_unload(h);
}

}  // namespace
}  // namespace kw::testing
