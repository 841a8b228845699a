// The string conversions against a plain reference (one automaton walk or
// lookup per character) on random mixed text, at every alignment and with
// every kind of ending, so that the word-at-a-time ASCII paths are covered.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "codeset/codec_core.h"
#include "codeset_test_support.h"

#if defined(__unix__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace kw::codeset {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Wide = std::vector<kw_wchar_t>;

struct Sample {
  Bytes bytes;  // characters only, no terminator
  Wide values;
};

class CodecOracleTest : public kw::testing::CodecFixture {
 protected:
  // Loads code set `name` and collects its characters for random text.
  kw_locale* open(const char* name) {
    ascii_.clear();
    other_.clear();
    kw_locale* h = use(name).handle();
    automaton_for_each(*cm()->automaton, [&](const std::uint8_t* s, std::size_t n, const std::uint8_t*) {
      std::uint32_t v = 0;
      for (std::size_t i = 0; i < n; ++i) v = (v << 8) | s[i];
      if (v != 0) (n == 1 && v < 0x80 ? ascii_ : other_).push_back(Bytes(s, s + n));
      return true;
    });
    return h;
  }
  // Runs of ASCII (as in words) between multibyte characters.
  Sample random_text(std::mt19937& rng, std::size_t chars) {
    Sample s;
    while (s.values.size() < chars) {
      const bool ascii = !ascii_.empty() && (other_.empty() || rng() % 3 == 0);
      const std::size_t run = ascii ? 1 + rng() % 12 : 1 + rng() % 3;
      for (std::size_t k = 0; k < run && s.values.size() < chars; ++k) {
        const Bytes& c = ascii ? ascii_[rng() % ascii_.size()] : other_[rng() % other_.size()];
        std::uint32_t v = 0;
        for (std::uint8_t b : c) v = (v << 8) | b;
        s.bytes.insert(s.bytes.end(), c.begin(), c.end());
        s.values.push_back(v);
      }
    }
    return s;
  }
  // The reference decoder: one walk per character.
  int reference_decode(const std::uint8_t* s, int length, int count, Wide& out, Err& err) {
    const Automaton& a = locales_.back()->automaton();
    out.clear();
    err = Err::None;
    std::size_t left = length == -1 ? 4 : static_cast<std::size_t>(length);
    while (static_cast<int>(out.size()) < count && (length == -1 || left > 0)) {
      const Match m = automaton_walk(a, s, length == -1 ? 4 : left);
      if (m.err != Err::None) {
        err = Err::Ilseq;
        return -1;
      }
      out.push_back(m.value);
      if (length == -1 && m.value == 0) return static_cast<int>(out.size()) - 1;
      s += m.len;
      if (length != -1) left -= m.len;
    }
    return static_cast<int>(out.size());
  }
  std::vector<Bytes> ascii_, other_;
};

TEST_F(CodecOracleTest, DecodingMatchesTheReferenceAtEveryAlignment) {
  for (const char* name : {"eucjp", "sjis", "unicode", "8859-1"}) {
    SCOPED_TRACE(name);
    kw_locale* h = open(name);
    const std::uint32_t term = head(h).codec.shortest;
    std::mt19937 rng(7);
    for (int round = 0; round < 60; ++round) {
      // Short texts, and long ones that the block decoders take.
      Sample smp = random_text(rng, 1 + rng() % (round % 2 != 0 ? 70 : 240));
      // Occasionally an illegal byte somewhere.
      if (round % 7 == 3 && name != std::string("8859-1")) smp.bytes.insert(smp.bytes.begin() + static_cast<long>(rng() % smp.bytes.size()), 0xFF);
      for (std::size_t offset = 0; offset < 8; ++offset) {
        // Placed at the end of its block, so that reads past the terminator
        // would leave the allocation.
        std::vector<std::uint8_t> buf(offset + smp.bytes.size() + term);
        std::memcpy(buf.data() + offset, smp.bytes.data(), smp.bytes.size());
        std::memset(buf.data() + offset + smp.bytes.size(), 0, term);
        const std::uint8_t* s = buf.data() + offset;
        const int length = static_cast<int>(smp.bytes.size());
        for (int count : {static_cast<int>(smp.values.size()) + 1, static_cast<int>(smp.values.size()) / 2 + 1, 200}) {
          for (int len : {-1, length, length > 3 ? length - 3 : length}) {
            Wide want;
            Err werr;
            const int expect = reference_decode(s, len, count, want, werr);
            Wide got(static_cast<std::size_t>(count) + 8, 0xDEAD);
            const int r = len == -1
                              ? kw_im_mbstowcs(h, got.data(), reinterpret_cast<const char*>(s), count)
                              : qrt_kw_im_mbfstowcfs(h, got.data(), reinterpret_cast<const char*>(s), len, count);
            ASSERT_EQ(r, expect) << "offset " << offset << " len " << len << " count " << count;
            if (r < 0) {
              EXPECT_KW_ERROR(err(), werr);
              continue;
            }
            EXPECT_TRUE(std::equal(want.begin(), want.end(), got.begin()));
            for (std::size_t k = want.size(); k < static_cast<std::size_t>(count); ++k)
              ASSERT_TRUE(got[k] == 0xDEADu || got[k] == 0) << "scratch slots hold only zeros";
            for (std::size_t k = static_cast<std::size_t>(count); k < got.size(); ++k)
              ASSERT_EQ(got[k], 0xDEADu) << "wrote past count";
            if (len == -1) {
              EXPECT_EQ(kw_im_mbstowcs(h, nullptr, reinterpret_cast<const char*>(s), count), r);
            }
          }
        }
      }
    }
    EXPECT_EQ(err(), 0u);
  }
}

TEST_F(CodecOracleTest, EncodingMatchesTheReferenceForEveryRoom) {
  for (const char* name : {"eucjp", "sjis", "unicode"}) {
    SCOPED_TRACE(name);
    kw_locale* h = open(name);
    const std::uint32_t term = head(h).codec.shortest;
    std::mt19937 rng(11);
    for (int round = 0; round < 80; ++round) {
      Sample smp = random_text(rng, 1 + rng() % 40);
      // Not characters: a three-byte value, and a two-byte one of valid-looking bytes.
      if (round % 9 == 4) smp.values[rng() % smp.values.size()] = (round / 9) % 2 != 0 ? 0x8190 : 0x8FA3A1;
      const bool bad = round % 9 == 4;
      for (std::size_t offset = 0; offset < 4; ++offset) {
        Wide buf(offset + smp.values.size() + 1, 0);
        std::copy(smp.values.begin(), smp.values.end(), buf.begin() + static_cast<long>(offset));
        const kw_wchar_t* ws = buf.data() + offset;
        const int total = static_cast<int>(smp.bytes.size());
        for (int room : {total + static_cast<int>(term), total, total / 2, 3, 0}) {
          for (int wlen : {-1, static_cast<int>(smp.values.size())}) {
            // Reference: whole characters while they fit.
            Bytes want;
            int expect = 0;
            bool failed = false;
            for (kw_wchar_t v : smp.values) {
              std::uint8_t b[4];
              const Match m = automaton_lookup_wide(locales_.back()->automaton(), v, b);
              const std::uint32_t n = wide_length(locales_.back()->automaton(), v);
              if (static_cast<int>(want.size() + n) > room) break;
              if (m.err != Err::None) {
                failed = true;
                break;
              }
              want.insert(want.end(), b, b + n);
            }
            expect = failed ? -1 : static_cast<int>(want.size());
            Bytes got(static_cast<std::size_t>(room) + 8, 0xEE);
            const int r = wlen == -1 ? kw_full_wcstombs(h, reinterpret_cast<char*>(got.data()), ws, room)
                                     : qrt_kw_full_wcstombs(h, reinterpret_cast<char*>(got.data()), ws, wlen, room);
            ASSERT_EQ(r, expect) << "room " << room << " wlen " << wlen;
            if (r < 0) {
              EXPECT_TRUE(bad);
              EXPECT_KW_ERROR(err(), Err::Ilseq);
              continue;
            }
            EXPECT_TRUE(std::equal(want.begin(), want.end(), got.begin()));
            for (std::size_t k = want.size(); k < static_cast<std::size_t>(room); ++k)
              ASSERT_TRUE(got[k] == 0xEE || got[k] == 0) << "scratch bytes hold only zeros";
            const bool term_fits = wlen == -1 && static_cast<int>(want.size()) == total && room - total >= static_cast<int>(term);
            if (term_fits) {
              EXPECT_EQ(got[want.size()], 0);
            }
            for (std::size_t k = static_cast<std::size_t>(room); k < got.size(); ++k)
              ASSERT_EQ(got[k], 0xEE) << "wrote past room";
          }
        }
      }
    }
  }
}

#if defined(__unix__)
// Terminated strings that end at the last bytes of a page followed by an
// inaccessible page: the word-at-a-time reads must not touch that page.
TEST_F(CodecOracleTest, TerminatedReadsStayInsideThePage) {
  const long page = sysconf(_SC_PAGESIZE);
  void* map = mmap(nullptr, static_cast<std::size_t>(2 * page), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(map, MAP_FAILED);
  ASSERT_EQ(mprotect(static_cast<char*>(map) + page, static_cast<std::size_t>(page), PROT_NONE), 0);
  auto* page_end = static_cast<std::uint8_t*>(map) + page;
  // A character of two high bytes, and one whose second byte is ASCII.
  for (const auto& [name, b0, b1] : {std::tuple{"eucjp", 0xA4, 0xA2}, std::tuple{"sjis", 0x88, 0x41}}) {
    SCOPED_TRACE(name);
    kw_locale* h = open(name);
    for (std::size_t len = 0; len < 80; ++len) {
      // ASCII text with one multibyte character, ending exactly at the page end.
      std::vector<std::uint8_t> text(len, 'a');
      if (len > 4) {
        text[len / 2] = static_cast<std::uint8_t>(b0);
        text[len / 2 + 1] = static_cast<std::uint8_t>(b1);
      }
      text.push_back(0);
      std::uint8_t* s = page_end - text.size();
      std::memcpy(s, text.data(), text.size());
      Wide out(96, 7);
      const int n = kw_im_mbstowcs(h, out.data(), reinterpret_cast<const char*>(s), 96);
      EXPECT_EQ(n, static_cast<int>(len > 4 ? len - 1 : len)) << len;
      // The same for wide text ending at the page end.
      auto* wend = reinterpret_cast<kw_wchar_t*>(page_end);
      const std::size_t nw = len + 1;
      kw_wchar_t* ws = wend - nw;
      for (std::size_t k = 0; k < len; ++k) ws[k] = 'b';
      ws[len] = 0;
      char bytes[96];
      EXPECT_EQ(kw_full_wcstombs(h, bytes, ws, 96), static_cast<int>(len));
    }
  }
  munmap(map, static_cast<std::size_t>(2 * page));
}
#endif

}  // namespace
}  // namespace kw::codeset
