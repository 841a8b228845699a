// Tests of the charmap automaton: insertion, walk, conflicts, data, wide lookup.
#include "codeset/automaton.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace kw::codeset {
namespace {

using Bytes = std::vector<std::uint8_t>;

class AutomatonTest : public kw::testing::KwTest {
 protected:
  void TearDown() override {
    automaton_release(a_);
    KwTest::TearDown();
  }
  Automaton& make(std::uint32_t data_size, const void* def = nullptr) {
    auto r = automaton_create(data_size, def);
    EXPECT_TRUE(r.ok());
    a_ = *r;
    return *a_;
  }
  Err insert(const Bytes& s, const void* data = nullptr) {
    return automaton_insert(*a_, s.data(), s.size(), data);
  }
  // Walks `s`, reading at most its own length unless a shorter limit is given.
  Match walk(const Bytes& s, std::size_t limit = 0) {
    return automaton_walk(*a_, s.data(), limit != 0 && limit < s.size() ? limit : s.size());
  }
  Automaton* a_ = nullptr;
};

TEST_F(AutomatonTest, EmptyAutomatonRejectsEveryByteAndReportsLengths) {
  Automaton& a = make(2);
  EXPECT_EQ(a.longest, 0u);
  EXPECT_EQ(a.shortest, 4u);
  EXPECT_EQ(a.data_shift, 1u);
  for (unsigned b = 0; b < 256; ++b) {
    const std::uint8_t s[1] = {static_cast<std::uint8_t>(b)};
    EXPECT_EQ(automaton_walk(a, s, 1).err, Err::Ilseq);
  }
}

TEST_F(AutomatonTest, WalkRecognisesInsertedCharactersAndTheirValues) {
  Automaton& a = make(2);
  ASSERT_EQ(insert({0x41}), Err::None);
  ASSERT_EQ(insert({0x8E, 0xA1}), Err::None);
  ASSERT_EQ(insert({0x8F, 0xA1, 0xA2}), Err::None);
  ASSERT_EQ(insert({0xF0, 0x90, 0x80, 0x80}), Err::None);
  EXPECT_EQ(a.shortest, 1u);
  EXPECT_EQ(a.longest, 4u);

  Match m = walk({0x41, 0x42});
  EXPECT_EQ(m.err, Err::None);
  EXPECT_EQ(m.len, 1u);
  EXPECT_EQ(m.value, 0x41u);
  m = walk({0x8F, 0xA1, 0xA2, 0x00});
  EXPECT_EQ(m.len, 3u);
  EXPECT_EQ(m.value, 0x8FA1A2u);
  m = walk({0xF0, 0x90, 0x80, 0x80});
  EXPECT_EQ(m.len, 4u);
  EXPECT_EQ(m.value, 0xF0908080u);

  EXPECT_EQ(walk({0x42}).err, Err::Ilseq);              // never inserted
  EXPECT_EQ(walk({0x8E, 0xA2}).err, Err::Ilseq);        // unknown second byte
  EXPECT_EQ(walk({0x8F, 0xA1, 0xA2}, 2).err, Err::Short);  // limit inside the character
  EXPECT_EQ(walk({0x8E, 0xA1}, 1).err, Err::Short);
}

TEST_F(AutomatonTest, RejectsConflictingAndBadLengthSequences) {
  Automaton& a = make(2);
  ASSERT_EQ(insert({0xA1, 0xA1}), Err::None);
  EXPECT_EQ(insert({0xA1}), Err::BadType);              // prefix of a character
  ASSERT_EQ(insert({0x30}), Err::None);
  EXPECT_EQ(insert({0x30, 0x31}), Err::BadType);        // extends a character
  EXPECT_EQ(insert({0xA1, 0xA1, 0x01}), Err::BadType);  // extends a two-byte one
  EXPECT_EQ(insert({}), Err::BadType);
  EXPECT_EQ(insert({1, 2, 3, 4, 5}), Err::BadType);
  EXPECT_EQ(insert({0x30}), Err::None);                 // again: harmless
  EXPECT_EQ(a.shortest, 1u);
  EXPECT_EQ(a.longest, 2u);
}

TEST_F(AutomatonTest, DataDefaultsUntilGivenAndIsKeptPerCharacter) {
  const std::uint8_t def[3] = {7, 8, 9};
  Automaton& a = make(3, def);
  EXPECT_EQ(a.data_shift, 2u);
  ASSERT_EQ(insert({0x41}), Err::None);
  Match m = walk({0x41});
  EXPECT_EQ(std::memcmp(automaton_data(a, m.node, m.last), def, 3), 0);
  EXPECT_EQ(m.node->data, nullptr) << "no data table before a character with data";

  const std::uint8_t d1[3] = {1, 2, 3};
  ASSERT_EQ(insert({0x42}, d1), Err::None);
  ASSERT_EQ(insert({0x43}), Err::None);  // inserted without data after the table exists
  m = walk({0x42});
  EXPECT_EQ(std::memcmp(automaton_data(a, m.node, m.last), d1, 3), 0);
  m = walk({0x41});
  EXPECT_EQ(std::memcmp(automaton_data(a, m.node, m.last), def, 3), 0);
  m = walk({0x43});
  EXPECT_EQ(std::memcmp(automaton_data(a, m.node, m.last), def, 3), 0);

  const std::uint8_t d2[3] = {4, 5, 6};
  ASSERT_EQ(insert({0x42}, d2), Err::None);   // re-insertion replaces the data
  ASSERT_EQ(insert({0x42}), Err::None);       // and without data keeps it
  m = walk({0x42});
  EXPECT_EQ(std::memcmp(automaton_data(a, m.node, m.last), d2, 3), 0);
}

TEST_F(AutomatonTest, LookupWideUsesShortestLengthForSmallValues) {
  Automaton& a = make(2);
  ASSERT_EQ(insert({0x00, 0x41}), Err::None);
  ASSERT_EQ(insert({0x12, 0x34}), Err::None);
  ASSERT_EQ(insert({0x01, 0x02, 0x03}), Err::None);
  EXPECT_EQ(a.shortest, 2u);
  std::uint8_t out[4] = {};
  Match m = automaton_lookup_wide(a, 0x41, out);
  ASSERT_EQ(m.err, Err::None);
  EXPECT_EQ(m.len, 2u);
  EXPECT_EQ(out[0], 0x00);
  EXPECT_EQ(out[1], 0x41);
  m = automaton_lookup_wide(a, 0x010203, out);
  ASSERT_EQ(m.err, Err::None);
  EXPECT_EQ(m.len, 3u);
  EXPECT_EQ(Bytes(out, out + 3), (Bytes{1, 2, 3}));
  EXPECT_EQ(automaton_lookup_wide(a, 0x42, out).err, Err::Ilseq);
  EXPECT_EQ(automaton_lookup_wide(a, 0x12, out).err, Err::Ilseq);   // 00 12 not a character
  EXPECT_EQ(automaton_lookup_wide(a, 0x0102, out).err, Err::Ilseq);  // prefix only
}

TEST_F(AutomatonTest, ForEachVisitsEveryCharacterInByteOrder) {
  make(2);
  const std::vector<Bytes> chars = {{0x30}, {0x80, 0x01}, {0x80, 0x02, 0x01}, {0xFF}};
  for (auto it = chars.rbegin(); it != chars.rend(); ++it) ASSERT_EQ(insert(*it), Err::None);
  std::vector<Bytes> seen;
  EXPECT_TRUE(automaton_for_each(*a_, [&](const std::uint8_t* s, std::size_t n, const std::uint8_t*) {
    seen.emplace_back(s, s + n);
    return true;
  }));
  EXPECT_EQ(seen, chars);
}

TEST_F(AutomatonTest, ManyChildrenGrowWithoutLosingEarlierOnes) {
  make(2);
  for (unsigned b = 0; b < 256; ++b) ASSERT_EQ(insert({static_cast<std::uint8_t>(b), 0x40}), Err::None);
  for (unsigned b = 0; b < 256; ++b) {
    Match m = walk({static_cast<std::uint8_t>(b), 0x40});
    ASSERT_EQ(m.err, Err::None) << b;
    EXPECT_EQ(m.value, (b << 8) | 0x40u);
  }
  EXPECT_EQ(a_->root->next_child, 256u);
}

TEST_F(AutomatonTest, FailingAllocatorLeavesNothingLeaked) {
  const std::uint16_t data = 0x1234;
  const std::vector<Bytes> chars = {{0x41}, {0x8E, 0xA1}, {0x8E, 0xA2}, {0x8F, 0xA1, 0xA1}, {0x8F, 0xA1, 0xA2}};
  const std::size_t runs = kw::testing::for_each_failing_allocation([&] {
    auto r = automaton_create(2, nullptr);
    if (!r.ok()) {
      EXPECT_EQ(r.error(), Err::NoMem);
    } else {
      Automaton* a = *r;
      for (const Bytes& c : chars) {
        const Err e = automaton_insert(*a, c.data(), c.size(), &data);
        if (e != Err::None) {
          EXPECT_EQ(e, Err::NoMem);
          break;
        }
      }
      // Whatever got in is walkable: nothing half-linked remains.
      for (const Bytes& c : chars) {
        const Match m = automaton_walk(*a, c.data(), c.size());
        EXPECT_TRUE(m.err == Err::None || m.err == Err::Ilseq);
      }
      automaton_release(a);
    }
    EXPECT_EQ(kw::testing::CountingAllocator::live(), 0u);
  });
  EXPECT_GT(runs, 5u);
}

// The codec's fast paths read derived tables that insertion keeps in step;
// automata built elsewhere get them from automaton_prepare. Both must agree.
TEST_F(AutomatonTest, PreparedFastTablesMatchThoseKeptByInsertion) {
  make(2);
  for (unsigned b = 0; b < 0x80; ++b) ASSERT_EQ(insert({static_cast<std::uint8_t>(b)}), Err::None);
  for (unsigned lead = 0xA1; lead <= 0xA3; ++lead)
    for (unsigned trail = 0xA1; trail <= 0xFE; trail += 3)
      ASSERT_EQ(insert({static_cast<std::uint8_t>(lead), static_cast<std::uint8_t>(trail)}), Err::None);
  ASSERT_EQ(insert({0x8F, 0xA2, 0xAF}), Err::None);
  ASSERT_NE(a_->fast, nullptr);
  std::vector<std::uint64_t> pairs(a_->fast->pairs, a_->fast->pairs + 1024);
  std::vector<const std::uint8_t*> third;
  for (const auto* row : a_->fast->third) third.insert(third.end(), row, row + 256);

  ASSERT_EQ(automaton_prepare(*a_), Err::None);
  EXPECT_EQ(std::vector<std::uint64_t>(a_->fast->pairs, a_->fast->pairs + 1024), pairs);
  std::vector<const std::uint8_t*> prepared;
  for (const auto* row : a_->fast->third) prepared.insert(prepared.end(), row, row + 256);
  EXPECT_EQ(prepared, third);
  EXPECT_TRUE(fast_pair(*a_->fast, 0xA1A1));
  EXPECT_FALSE(fast_pair(*a_->fast, 0xA1A2));
}

// The block decoder's byte sets follow the characters inserted, including
// insertions after the sets were first computed.
TEST_F(AutomatonTest, BlockSetsFollowInsertion) {
  make(0);
  const auto in = [](const ByteSet& set, unsigned b) { return ((set.rows[b >> 7][b & 15] >> ((b >> 4) & 7)) & 1) != 0; };
  ASSERT_EQ(insert({0x41}), Err::None);
  EXPECT_EQ(block_sets(*a_), nullptr) << "no two-byte characters";
  ASSERT_EQ(insert({0xA1}), Err::None);
  ASSERT_EQ(insert({0x81, 0x40}), Err::None);
  ASSERT_EQ(insert({0xE0, 0x80}), Err::None);
  const BlockSets* sets = block_sets(*a_);
  ASSERT_NE(sets, nullptr);
  for (unsigned b = 0; b < 256; ++b) {
    EXPECT_EQ(in(sets->lead, b), b == 0x81 || b == 0xE0) << b;
    EXPECT_EQ(in(sets->single, b), b == 0x41 || b == 0xA1) << b;
  }
  EXPECT_FALSE(sets->high_lead) << "not every ASCII byte is a character";
  // A three-byte character takes its first byte out of the lead set.
  ASSERT_EQ(insert({0xE0, 0x81, 0x82}), Err::None);
  sets = block_sets(*a_);
  ASSERT_NE(sets, nullptr);
  EXPECT_TRUE(in(sets->lead, 0x81));
  EXPECT_FALSE(in(sets->lead, 0xE0));

  // EUC-like: ASCII, high pairs, a high one-byte character (a C1 control)
  // keeps the high-bit form; a second byte below 0x80 ends it.
  automaton_release(a_);
  make(0);
  for (unsigned b = 0; b < 0x80; ++b) ASSERT_EQ(insert({static_cast<std::uint8_t>(b)}), Err::None);
  ASSERT_EQ(insert({0x85}), Err::None);
  ASSERT_EQ(insert({0xA4, 0xA2}), Err::None);
  ASSERT_TRUE(block_sets(*a_) != nullptr && block_sets(*a_)->high_lead);
  ASSERT_EQ(insert({0xA4, 0x41}), Err::None);
  ASSERT_TRUE(block_sets(*a_) != nullptr);
  EXPECT_FALSE(block_sets(*a_)->high_lead);
}

}  // namespace
}  // namespace kw::codeset
