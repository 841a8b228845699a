// Tests of charmap objects: loading, the accessors, and the loader against
// damaged and unusual input (every failure is an error number in the
// record, never a crash or a leak).
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "codeset/charmap.h"
#include "codeset/symbol_names.h"
#include "codeset_test_support.h"
#include "fixture_sources.h"

namespace kw::codeset {
namespace {

using kw::testing::CountingAllocator;
using Bytes = std::vector<std::uint8_t>;

class CharmapTest : public kw::testing::CharmapFileTest {
 protected:
  // A charmap object with a four-line header and the body lines `body`.
  static std::string with_body(const std::string& body) {
    return "FILE_TYPE=charmap_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=4\nCODESET=T\nbody\n" + body;
  }
};

TEST_F(CharmapTest, LoadsFixturesByRegistryNameWithTheirLengths) {
  struct Case {
    const char* name;
    const char* csname;
    int min, max, srcver;
    std::uint16_t number;
  };
  for (const Case& c : {Case{"8859-1", "ISO-8859-1", 1, 1, 7, 819}, Case{"unicode", "UCS-2", 2, 2, 2, 57349},
                        Case{"eucjp", "EUC-JP", 1, 3, 3, 5050}, Case{"utf8", "UTF-8", 1, 4, 10, 57372}}) {
    SCOPED_TRACE(c.name);
    kw_charmap* cm = kw::testing::load_fixture_charmap(c.name);
    ASSERT_NE(cm, nullptr);
    EXPECT_STREQ(kw_cm_csname(cm), c.csname);
    EXPECT_EQ(kw_mb_cm_min(cm), c.min);
    EXPECT_EQ(kw_mb_cm_max(cm), c.max);
    EXPECT_EQ(kw_cm_srcver(cm), c.srcver);
    EXPECT_EQ(kw_cm_cmpver(cm), 3);
    EXPECT_EQ(cm->number, c.number);
    kw_cm_unload(cm);
  }
}

// Every character, symbol and range written by the generator is what the
// loader reads back, and nothing else.
TEST_F(CharmapTest, RoundTripsEveryFixture) {
  for (const kw::testing::CodesetFixture& f : kw::testing::codeset_fixtures()) {
    SCOPED_TRACE(f.registry_name);
    kw_charmap* cm = kw::testing::load_fixture_charmap(f.registry_name.c_str());
    ASSERT_NE(cm, nullptr);
    std::vector<std::uint64_t> expected;  // length << 32 | value, for speed
    auto key = [](const std::uint8_t* b, std::size_t n) {
      std::uint64_t v = 0;
      for (std::size_t i = 0; i < n; ++i) v = (v << 8) | b[i];
      return (std::uint64_t{n} << 32) | v;
    };
    for (const auto& s : f.source.symbols) {
      expected.push_back(key(s.bytes.data(), s.bytes.size()));
      // In the name table, at its hash, with its bytes.
      bool found = false;
      for (const SymbolEntry& e : cm->names->buckets[name_hash(s.name.c_str())])
        found |= e.kind == 's' && e.name == s.name && Bytes(e.seq.bytes, e.seq.bytes + e.seq.count) == s.bytes;
      EXPECT_TRUE(found) << s.name;
    }
    ASSERT_EQ(cm->ranges.size(), f.source.ranges.size());
    for (std::size_t i = 0; i < f.source.ranges.size(); ++i) {
      const auto& w = f.source.ranges[i];
      const RangeRecord& r = cm->ranges[i];
      EXPECT_EQ(r.name, w.prefix);
      EXPECT_EQ(r.first_number, w.first_number);
      EXPECT_EQ(r.count, w.count);
      EXPECT_EQ(r.format, w.format);
      EXPECT_EQ(Bytes(r.first.bytes, r.first.bytes + r.first.count), w.first);
      Bytes b = w.first;
      for (std::int32_t k = 0; k < w.count; ++k, b = kw::writers::next_sequence(b))
        expected.push_back(key(b.data(), b.size()));
      EXPECT_NE(find_range_entry(*cm, w.prefix.c_str()), nullptr);
    }
    std::vector<std::uint64_t> seen;
    automaton_for_each(*cm->automaton, [&](const std::uint8_t* s, std::size_t n, const std::uint8_t*) {
      seen.push_back(key(s, n));
      return true;
    });
    std::sort(expected.begin(), expected.end());
    expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
    std::sort(seen.begin(), seen.end());
    EXPECT_TRUE(seen == expected);
    kw_cm_unload(cm);
  }
}

TEST_F(CharmapTest, RangeLineAddsWithByteWiseCarry) {
  ASSERT_EQ(load_text(header() + "body\nr 0 j 101 3 2 a1 fe\n"), 0);
  EXPECT_EQ(mblen("\xa1\xfe"), 2);
  EXPECT_EQ(mblen("\xa1\xff"), 2);
  EXPECT_EQ(mblen(std::string("\xa2\x00", 2)), 2);
  EXPECT_EQ(mblen("\xa2\x01"), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Ilseq);
  EXPECT_EQ(kw_mb_cm_min(cm_), 2);
  EXPECT_STREQ(kw_cm_csname(cm_), "TEST");
  EXPECT_EQ(kw_cm_srcver(cm_), 4);
}

TEST_F(CharmapTest, HeaderLengthThreeReadsNoCodesetAndLongNamesAreCut) {
  ASSERT_EQ(load_text(header("", 3) + "body\ns 0 A 1 41\n"), 0);
  EXPECT_STREQ(kw_cm_csname(cm_), "");
  EXPECT_EQ(kw_cm_srcver(cm_), 0);
  EXPECT_EQ(mblen("A"), 1);

  ASSERT_EQ(load_text(header("IGNORED=1\nCODESET=ABCDEFGHIJKLMNOPQRSTUVWXYZ\n", 5) + "body\n"), 0);
  EXPECT_STREQ(kw_cm_csname(cm_), "ABCDEFGHIJKLMNOPQRSTU");
  EXPECT_EQ(kw_mb_cm_max(cm_), 0);
  EXPECT_EQ(kw_mb_cm_min(cm_), 4);
}

// Whole files with a broken header: the record is not the static one, holds
// the error and no automaton.
TEST_F(CharmapTest, RejectsBadHeadersWithTheirErrors) {
  const struct {
    std::string text;
    Err err;
  } cases[] = {
      {"FILE_TYPE=locale_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=3\nx\n", Err::BadType},
      {"FILE_TYPE=charmap_object \nCOMPILER_VERSION=3\nHEADER_LENGTH=3\nx\n", Err::BadType},
      {"", Err::BadType},
      {"FILE_TYPE=charmap_object\nCOMPILER_VERSION=11\nHEADER_LENGTH=3\nx\n", Err::BadVersion},
      {"FILE_TYPE=charmap_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=9\nCODESET=X\n", Err::BadType},
      // More header lines promised than the file has.
      {"FILE_TYPE=charmap_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=2147483647\nCODESET=X\n", Err::BadType},
      // The header is compared after the last character is cut: a FILE_TYPE
      // line without its newline is one character short.
      {"FILE_TYPE=charmap_object", Err::BadType},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(load_text(c.text), -1);
    EXPECT_FALSE(cm_->is_static);
    EXPECT_EQ(cm_->error, err_number(c.err));
    EXPECT_EQ(cm_->automaton, nullptr);
  }
  // A negative header length reads no further header line.
  EXPECT_EQ(try_text("FILE_TYPE=charmap_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=-7\nbody\ns 0 A 1 41\n").first, 0);
}

// Body lines: what loads, what fails with BadType (11), and what may do
// either but must not crash (-1).
TEST_F(CharmapTest, BodyLinesLoadOrFailWithBadType) {
  const std::string name70(70, 'n');
  const struct {
    std::string body;
    int err;
  } cases[] = {
      {"s 0 " + name70 + " 1 41\n", 0},
      {"s 0 " + name70 + "n 1 41\n", 11},  // names longer than 70 characters
      {"x 0 A 1 41\n", 11},                 // unknown kind
      {"s 0 A 5 41\n", 11},                 // five bytes
      {"s 0 A 0 41\n", 11},
      {"s 0 A 2147483647 41\n", 11},
      {"s 0 A 1 a1\ns 0 B 2 a1 a2\n", 11},  // a character that is a prefix of another
      // Ranges beyond 2^24 characters, and counts that do not fit 32 bits.
      {"r 0 R 1 16777217 4 00 00 00 00\n", 11},
      {"r 0 R 1 99999999999999999999 4 00 00 00 00\n", 11},
      {"r 0 R 1 -2147483648 1 41\n", 0},  // a negative count names nothing
      // The kind is the first character even when it is blank, so that the
      // remainder of a long line is never read as an entry by accident.
      {" s 0 A 1 41\n", 11},
      {"\ts 0 A 1 41\n", 11},
      {"s 0 A 1 41" + std::string(200, ' ') + "\n", 11},
      {"\n\ns 0 A 1 41\n", 0},  // empty lines carry nothing
      {std::string("\0s 0 A 1 41\n", 12), 0},  // a zero byte leaves nothing to cut
      {"s\n", -1},
      {"s 0\n", -1},
      {"s 0 A\n", -1},
      {"s 0 A 1\n", -1},
      {"s 0 B 2 zz qq\n", -1},
      {"r 0 C\n", -1},
      {"r 0 D 1 -5 1 41\n", -1},
      {"r 0 E 1 99999999999 1 41\n", -1},
      {"s -99999999999999 F 1 4\n", -1},
      {std::string(200, 's') + "\n", -1},
      {"s 0 " + std::string(300, 'x') + " 1 41\n", -1},
      {"   \n", -1},
      {"r 0 G 1 300 1 10\n", -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.body.substr(0, 40));
    const auto [r, e] = try_text(with_body(c.body));
    if (c.err == -1) {
      EXPECT_TRUE(r == 0 || e == 11u) << e;
    } else {
      EXPECT_EQ(r, c.err == 0 ? 0 : -1);
      EXPECT_EQ(e, static_cast<std::uint32_t>(c.err));
    }
  }
}

// Lines are read into a 128-byte buffer and lose their last character (the
// newline) before they are examined; a line of 127 or more characters is
// read in pieces, and each piece loses its last character.
TEST_F(CharmapTest, EachReadLosesItsLastCharacter) {
  // The last line has no newline: its last digit is dropped, so the byte is 04.
  ASSERT_EQ(load_text(with_body("s 0 A 1 41")), 0);
  EXPECT_EQ(mblen("\x04"), 1);
  EXPECT_EQ(mblen("\x41"), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Ilseq);

  // A 127-character line fills the buffer: its 127th character goes the way
  // of the newline, and the newline is read as an empty line of its own.
  std::string line = "s 0 " + std::string(60, 'N') + " 1 42";
  line.insert(4 + 60, std::string(127 - line.size(), ' '));
  ASSERT_EQ(line.size(), 127u);
  ASSERT_EQ(load_text(with_body(line + "\ns 0 B 1 43\n")), 0);
  EXPECT_EQ(mblen("\x04"), 1);
  EXPECT_EQ(mblen("\x43"), 1);
  EXPECT_EQ(mblen("\x42"), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Ilseq);

  // Text-mode files written with CR LF read the same as with LF.
  ASSERT_EQ(load_text("FILE_TYPE=charmap_object\r\nCOMPILER_VERSION=3\r\nHEADER_LENGTH=4\r\nCODESET=CR\r\nb\r\n"
                      "s 0 A 1 41\r\n"),
            0);
  EXPECT_STREQ(kw_cm_csname(cm_), "CR");
  EXPECT_EQ(mblen("\x41"), 1);
}

// Range names with first numbers at the ends of the 32-bit range: names are
// spelt and read back without overflowing, and negative numbers name nothing.
TEST_F(CharmapTest, RangeNumbersAtTheLimits) {
  ASSERT_EQ(load_text(with_body("r 0 P 2147483646 3 1 41\nr 0 N -2 3 1 61\n")), 0);
  char out[64];
  // The third number passes 2^31 - 1 and is still spelt.
  EXPECT_EQ(kw_mbstosyms(cm_, out, sizeof out, "ABC", 3), 39);
  EXPECT_STREQ(out, "<P2147483646><P2147483647><P2147483648>");
  EXPECT_EQ(kw_symstombs(cm_, out, sizeof out, "<P2147483648>"), 1);
  EXPECT_EQ(kw_symstombs(cm_, out, sizeof out, "<N9223372036854775807>"), -1);
  EXPECT_KW_ERROR(cm_->error, Err::NoSymbol);
  EXPECT_EQ(kw_symstombs(cm_, out, sizeof out, "<N0>"), 1);
  EXPECT_EQ(out[0], 'c');
  EXPECT_EQ(kw_mbstosyms(cm_, out, sizeof out, "a", 1), -1) << "N-2 has no name";
  EXPECT_KW_ERROR(cm_->error, Err::NoSymbol);
}

TEST_F(CharmapTest, MblenWalksTheCharmapAutomaton) {
  kw_charmap* cm = kw::testing::load_fixture_charmap("eucjp");
  ASSERT_NE(cm, nullptr);
  const struct {
    std::string bytes;
    int length, result;
    Err err;
  } cases[] = {
      {"A", 4, 1, Err::None},
      {std::string(1, '\0'), 4, 1, Err::None},  // a zero byte is an ordinary character here
      {"\xa4\xa2", 4, 2, Err::None},
      {"\x8f\xb0\xa1", 4, 3, Err::None},
      {"\xa4\xa2", 1, -1, Err::Short},
      {"A", 0, -1, Err::Short},
      {"\xff", 4, -1, Err::Ilseq},
      {"\x8f\xa3\xa1", 4, -1, Err::Ilseq},  // row 3 of the 3-byte set is not in the fixture
  };
  for (const auto& c : cases) {
    EXPECT_EQ(kw_cm_mblen(cm, c.bytes.c_str(), c.length), c.result) << c.bytes;
    EXPECT_KW_ERROR(cm->error, c.err);
  }
  EXPECT_EQ(kw_cm_mblen(cm, nullptr, 4), 0);
  kw_cm_unload(cm);
}

// The records that stand in for a failed load are shared, never freed, and
// always carry their reason, even after calls on them stored other errors.
TEST_F(CharmapTest, StaticRecordsKeepTheirReason) {
  kw_charmap* cm = nullptr;
  ASSERT_EQ(kw_cm_load(&cm, "absent.cmo", -1, dir_.string().c_str()), -1);
  ASSERT_EQ(cm->error, 8u);
  kw_cm_unload(cm);  // ignored
  EXPECT_EQ(kw_cm_mblen(cm, "A", 0), -1);
  EXPECT_EQ(kw_mb_cm_max(cm), 0);
  char out[8];
  EXPECT_EQ(kw_mbstosyms(cm, out, sizeof out, "A", 1), -1);
  kw_charmap* again = nullptr;
  ASSERT_EQ(kw_cm_load(&again, "nosuch", 6, nullptr), -1);
  EXPECT_EQ(again, cm);
  EXPECT_EQ(again->error, 8u);

  CountingAllocator::install(1);
  ASSERT_EQ(kw_cm_load(&cm, "absent.cmo", -1, dir_.string().c_str()), -1);
  CountingAllocator::uninstall();
  ASSERT_EQ(cm->error, 3u);
  EXPECT_EQ(kw_cm_mblen(cm, "A", 0), -1);
  CountingAllocator::install(1);
  ASSERT_EQ(kw_cm_load(&again, "absent.cmo", -1, dir_.string().c_str()), -1);
  CountingAllocator::uninstall();
  EXPECT_EQ(again->error, 3u);
}

TEST_F(CharmapTest, AccessorsAndLoadAcceptNullAndOddArguments) {
  EXPECT_EQ(kw_cm_load(nullptr, "8859-1", -1, nullptr), -1);
  kw_charmap* cm = nullptr;
  const std::string long_name(5000, 'x');
  const struct {
    const char* name;
    int length;
    const char* dir;
  } cases[] = {{nullptr, -1, nullptr}, {"8859-1", 0, nullptr}, {"8859-1", -5, nullptr},
               {long_name.c_str(), -1, nullptr}, {"x.cmo", -1, long_name.c_str()}};
  for (const auto& c : cases) {
    EXPECT_EQ(kw_cm_load(&cm, c.name, c.length, c.dir), -1) << c.length;
    EXPECT_EQ(cm->error, 8u);
  }
  kw_cm_unload(nullptr);
  EXPECT_EQ(kw_cm_srcver(nullptr), 0);
  EXPECT_EQ(kw_cm_cmpver(nullptr), 0);
  EXPECT_EQ(kw_cm_csname(nullptr), nullptr);
  EXPECT_EQ(kw_mb_cm_max(nullptr), 0);
  EXPECT_EQ(kw_mb_cm_min(nullptr), 4);
  EXPECT_EQ(kw_cm_mblen(nullptr, "A", 1), -1);
  EXPECT_EQ(kw_cm_mblen(nullptr, nullptr, 1), 0);
  // The load by name of a known code set, length-limited: "8859-1x" cut to 6.
  ASSERT_EQ(kw_cm_load(&cm, "8859-1x", 6, nullptr), 0);
  EXPECT_EQ(kw_cm_mblen(cm, "A", -1), -1);
  EXPECT_KW_ERROR(cm->error, Err::Short);
  kw_cm_unload(cm);
}

TEST_F(CharmapTest, FailingAllocatorLeavesNothingLeaked) {
  std::string body;
  for (int i = 0; i < 40; ++i) body += "s 0 S" + std::to_string(i) + " 1 " + std::to_string(10 + i) + "\n";
  body += "r 0 R 1 20 2 a1 a1\nr 0 R 30 20 2 a2 a1\nr 0 Q 1 3 3 8f a1 a1\n";
  ASSERT_EQ(try_text(header() + "body\n" + body).first, 0);
  std::size_t successes = 0;
  kw::testing::for_each_failing_allocation([&] {
    kw_charmap* cm = nullptr;
    if (kw_cm_load(&cm, "test.cmo", -1, dir_.string().c_str()) == 0) {
      ++successes;
    } else {
      EXPECT_TRUE(cm->error == 3u || cm->error == 8u) << cm->error;
    }
    kw_cm_unload(cm);
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
  EXPECT_EQ(successes, 1u);
}

// Every prefix of a real charmap object, and copies with bytes overwritten
// by garbage (control bytes, high bytes, digits and blanks, which make
// plausible but wrong fields), load or fail with a header error; nothing
// stays allocated either way.
TEST_F(CharmapTest, TruncatedAndCorruptedObjectsFailCleanly) {
  CountingAllocator::install();
  // Every offset of the two-byte set and of the header and first lines of
  // EUC-JP, then every 17th offset of the rest.
  for (const char* file : {"e005.cmo", "13ba.cmo"}) {
    const std::string text = kw::testing::fixture_object_text(file);
    ASSERT_GT(text.size(), 200u);
    for (std::size_t n = 0; n <= text.size(); n += n < 600 ? 1 : 17) {
      const auto [r, e] = try_text(text.substr(0, n));
      EXPECT_TRUE(r == 0 || e == 11u || e == 51u) << file << " cut at " << n << ": " << e;
      ASSERT_EQ(CountingAllocator::live(), 0u) << file << " cut at " << n;
    }
  }
  const std::string text = kw::testing::fixture_object_text("13ba.cmo");
  const char garbage[] = {'\0', '\n', ' ', '9', '-', 'r', 's', '\xff', '\x80', 'z'};
  std::uint32_t seed = 12345;
  for (int round = 0; round < 300; ++round) {
    std::string t = text;
    for (int k = 0; k < 8; ++k) {
      seed = seed * 1103515245u + 12345u;
      t[(seed >> 8) % t.size()] = garbage[(seed >> 3) % sizeof garbage];
    }
    const auto [r, e] = try_text(t);
    EXPECT_TRUE(r == 0 || e == 11u || e == 51u) << "round " << round << ": " << e;
    ASSERT_EQ(CountingAllocator::live(), 0u) << "round " << round;
  }
  CountingAllocator::uninstall();
}

}  // namespace
}  // namespace kw::codeset
