// Tests of charmap objects: loading, the accessors, loader failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
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

class CharmapTest : public kw::testing::KwTest {
 protected:
  void SetUp() override {
    KwTest::SetUp();
    reset_charmap_for_tests();
    kw::testing::use_codeset_fixture_dir();
    dir_ = std::filesystem::temp_directory_path() /
           ("kwa_charmap_test_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override {
    kw_cm_unload(cm_);
    std::filesystem::remove_all(dir_);
    KwTest::TearDown();
  }
  // Writes a charmap file named `file` into the test directory.
  void write(const std::string& file, const std::string& text) {
    std::ofstream(dir_ / file, std::ios::binary) << text;
  }
  static std::string header(const std::string& extra = "CODESET=TEST\nSOURCE_VERSION=4\n", int length = 5) {
    return "FILE_TYPE=charmap_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=" + std::to_string(length) + "\n" + extra;
  }
  int load_file(const std::string& file) {
    return kw_cm_load(&cm_, file.c_str(), -1, dir_.string().c_str());
  }
  int mblen(const Bytes& s, int length = 4) {
    return kw_cm_mblen(cm_, reinterpret_cast<const char*>(s.data()), length);
  }
  std::filesystem::path dir_;
  kw_charmap* cm_ = nullptr;
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
    kw_charmap* cm = kw::testing::load_fixture_charmap(c.name);
    ASSERT_NE(cm, nullptr) << c.name;
    EXPECT_STREQ(kw_cm_csname(cm), c.csname);
    EXPECT_EQ(kw_mb_cm_min(cm), c.min) << c.name;
    EXPECT_EQ(kw_mb_cm_max(cm), c.max) << c.name;
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
    EXPECT_EQ(seen.size(), expected.size());
    EXPECT_TRUE(seen == expected);
    kw_cm_unload(cm);
  }
}

TEST_F(CharmapTest, RangeLineAddsWithByteWiseCarry) {
  write("r.cmo", header() + "body\nr 0 j 101 3 2 a1 fe\n");
  ASSERT_EQ(load_file("r.cmo"), 0);
  EXPECT_EQ(mblen({0xA1, 0xFE}), 2);
  EXPECT_EQ(mblen({0xA1, 0xFF}), 2);
  EXPECT_EQ(mblen({0xA2, 0x00}), 2);
  EXPECT_EQ(mblen({0xA2, 0x01}), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Ilseq);
  EXPECT_EQ(kw_mb_cm_min(cm_), 2);
  EXPECT_STREQ(kw_cm_csname(cm_), "TEST");
  EXPECT_EQ(kw_cm_srcver(cm_), 4);
}

TEST_F(CharmapTest, SequenceArithmeticCarriesAndBorrowsPerByte) {
  const ByteSeq a{2, {0xA1, 0xFE}};
  EXPECT_EQ(seq_value(seq_add(a, 2)), 0xA200u);
  EXPECT_EQ(seq_value(seq_add(a, 0x102)), 0xA300u);
  EXPECT_EQ(seq_value(seq_add(ByteSeq{2, {0xA2, 0x00}}, -1)), 0xA1FFu);
  EXPECT_EQ(seq_value(seq_add(ByteSeq{2, {0xFF, 0xFF}}, 1)), 0x0000u);  // carry out is lost
  EXPECT_EQ(seq_value(seq_add(ByteSeq{1, {0x00}}, -1)), 0xFFu);
}

TEST_F(CharmapTest, HashesPlaceNamesAndSequencesAsTheFormatDefines) {
  EXPECT_EQ(name_hash("A"), 65u);
  EXPECT_EQ(name_hash("AB"), (65u + 66u) % 127u);
  EXPECT_EQ(name_hash("\x80"), static_cast<std::size_t>(-128 % 127 + 127));
  EXPECT_EQ(seq_hash(ByteSeq{2, {0xA1, 0xFE}}), (0xA1u + 0xFEu) % 127u);
  EXPECT_EQ(seq_hash(ByteSeq{1, {0xA1, 0xFE}}), 0xA1u % 127u);
}

TEST_F(CharmapTest, HeaderLengthThreeReadsNoCodesetAndLongNamesAreCut) {
  write("h3.cmo", header("", 3) + "body\ns 0 A 1 41\n");
  ASSERT_EQ(load_file("h3.cmo"), 0);
  EXPECT_STREQ(kw_cm_csname(cm_), "");
  EXPECT_EQ(kw_cm_srcver(cm_), 0);
  EXPECT_EQ(mblen({0x41}), 1);
  kw_cm_unload(cm_);
  cm_ = nullptr;

  write("long.cmo", header("IGNORED=1\nCODESET=ABCDEFGHIJKLMNOPQRSTUVWXYZ\n", 5) + "body\n");
  ASSERT_EQ(load_file("long.cmo"), 0);
  EXPECT_STREQ(kw_cm_csname(cm_), "ABCDEFGHIJKLMNOPQRSTU");
  EXPECT_EQ(kw_mb_cm_max(cm_), 0);
  EXPECT_EQ(kw_mb_cm_min(cm_), 4);
}

TEST_F(CharmapTest, MissingFileGivesTheStaticNoFileRecord) {
  EXPECT_EQ(kw_cm_load(&cm_, "nosuch.cmo", -1, dir_.string().c_str()), -1);
  ASSERT_NE(cm_, nullptr);
  EXPECT_EQ(cm_->error, 8u);
  kw_charmap* first = cm_;
  kw_cm_unload(cm_);  // ignored
  EXPECT_EQ(kw_cm_load(&cm_, "nosuch", 6, nullptr), -1);
  EXPECT_EQ(cm_, first);
  EXPECT_EQ(cm_->error, 8u);
  EXPECT_EQ(kw_mb_cm_max(cm_), 0);
  EXPECT_EQ(mblen({0x41}), -1);
}

TEST_F(CharmapTest, RejectsBadHeadersWithTheirErrors) {
  const std::map<std::string, Err> cases = {
      {"FILE_TYPE=locale_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=3\nx\n", Err::BadType},
      {"FILE_TYPE=charmap_object \nCOMPILER_VERSION=3\nHEADER_LENGTH=3\nx\n", Err::BadType},
      {"", Err::BadType},
      {"FILE_TYPE=charmap_object\nCOMPILER_VERSION=11\nHEADER_LENGTH=3\nx\n", Err::BadVersion},
      {"FILE_TYPE=charmap_object\nCOMPILER_VERSION=3\nHEADER_LENGTH=9\nCODESET=X\n", Err::BadType},
  };
  int i = 0;
  for (const auto& [text, err] : cases) {
    const std::string file = "bad" + std::to_string(i++) + ".cmo";
    write(file, text);
    EXPECT_EQ(load_file(file), -1) << text;
    ASSERT_NE(cm_, nullptr);
    EXPECT_FALSE(cm_->is_static);
    EXPECT_EQ(cm_->error, err_number(err)) << text;
    EXPECT_EQ(cm_->automaton, nullptr);
    kw_cm_unload(cm_);
    cm_ = nullptr;
  }
}

TEST_F(CharmapTest, RejectsOverlongNamesAndUnknownKinds) {
  const std::string name70(70, 'n');
  write("ok.cmo", header() + "body\ns 0 " + name70 + " 1 41\n");
  EXPECT_EQ(load_file("ok.cmo"), 0);
  kw_cm_unload(cm_);
  for (const std::string& line : {"s 0 " + name70 + "n 1 41", std::string("x 0 A 1 41"), std::string("s 0 A 5 41")}) {
    write("bad.cmo", header() + "body\n" + line + "\n");
    EXPECT_EQ(load_file("bad.cmo"), -1) << line;
    EXPECT_EQ(cm_->error, 11u) << line;
    kw_cm_unload(cm_);
  }
  cm_ = nullptr;
}

TEST_F(CharmapTest, MalformedBodyLinesNeverCrash) {
  const std::string lines[] = {
      "s",
      "s 0",
      "s 0 A",
      "s 0 A 1",
      "s 0 B 2 zz qq",
      "r 0 C",
      "r 0 D 1 -5 1 41",
      "r 0 E 1 99999999999 1 41",
      "s -99999999999999 F 1 4",
      std::string(200, 's'),
      std::string("s 0 ") + std::string(300, 'x') + " 1 41",
      "   ",
      "r 0 G 1 300 1 10",
  };
  for (const std::string& l : lines) {
    write("m.cmo", header() + "body\n" + l + "\n");
    const int r = load_file("m.cmo");
    EXPECT_TRUE(r == 0 || cm_->error == 11u) << l << " -> " << cm_->error;
    kw_cm_unload(cm_);
  }
  cm_ = nullptr;
}

TEST_F(CharmapTest, RejectsCharactersThatArePrefixesOfOthers) {
  write("c.cmo", header() + "body\ns 0 A 1 a1\ns 0 B 2 a1 a2\n");
  EXPECT_EQ(load_file("c.cmo"), -1);
  EXPECT_EQ(cm_->error, 11u);
}

TEST_F(CharmapTest, MblenWalksTheCharmapAutomaton) {
  cm_ = kw::testing::load_fixture_charmap("eucjp");
  ASSERT_NE(cm_, nullptr);
  EXPECT_EQ(mblen({0x41}), 1);
  EXPECT_EQ(mblen({0x00}), 1) << "a zero byte is an ordinary character here";
  EXPECT_EQ(mblen({0xA4, 0xA2}), 2);
  EXPECT_EQ(mblen({0x8F, 0xB0, 0xA1}), 3);
  EXPECT_EQ(kw_cm_mblen(cm_, nullptr, 4), 0);
  EXPECT_EQ(mblen({0xA4, 0xA2}, 1), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Short);
  EXPECT_EQ(mblen({0x41}, 0), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Short);
  EXPECT_EQ(mblen({0xFF}), -1);
  EXPECT_KW_ERROR(cm_->error, Err::Ilseq);
  EXPECT_EQ(mblen({0x8F, 0xA3, 0xA1}), -1);  // row 3 of the 3-byte set is not in the fixture
  EXPECT_KW_ERROR(cm_->error, Err::Ilseq);
}

TEST_F(CharmapTest, FailingAllocatorLeavesNothingLeaked) {
  std::string body = "body\n";
  for (int i = 0; i < 40; ++i) body += "s 0 S" + std::to_string(i) + " 1 " + std::to_string(10 + i) + "\n";
  body += "r 0 R 1 20 2 a1 a1\nr 0 R 30 20 2 a2 a1\nr 0 Q 1 3 3 8f a1 a1\n";
  write("small.cmo", header() + body);
  std::size_t successes = 0;
  kw::testing::for_each_failing_allocation([&] {
    kw_charmap* cm = nullptr;
    const int r = kw_cm_load(&cm, "small.cmo", -1, dir_.string().c_str());
    if (r == 0) {
      ++successes;
    } else {
      EXPECT_TRUE(cm->error == 3u || cm->error == 8u) << cm->error;
    }
    kw_cm_unload(cm);
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
  EXPECT_EQ(successes, 1u);
  reset_charmap_for_tests();
}

}  // namespace
}  // namespace kw::codeset
