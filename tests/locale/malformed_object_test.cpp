// The readers against damaged locale objects: every fixture cut short at
// many offsets, and counts in the file far beyond what the file can hold.
// Each must fail with an error number, without reading past the text and
// without leaking a block.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kwa.h"
#include "locale/lco_format.h"
#include "locale/lco_reader.h"
#include "locale/locale.h"
#include "locale/registry.h"
#include "locale_fixtures.h"
#include "locale_test_support.h"
#include "lco_writer.h"

namespace kw::testing {
namespace {

// An anonymous stream holding the first `n` bytes of `text`.
std::FILE* stream_of(const std::string& text, std::size_t n) {
  std::FILE* f = std::tmpfile();
  if (f == nullptr) return nullptr;
  if (n > 0) std::fwrite(text.data(), 1, n, f);
  std::rewind(f);
  return f;
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// The offsets a fixture is cut at: every `step`-th of a small object; the
// head and a spread of a large one.
std::vector<std::size_t> cut_offsets(std::size_t size, std::size_t step) {
  std::vector<std::size_t> out;
  if (size <= 10000) {
    for (std::size_t n = 0; n < size; n += step) out.push_back(n);
    return out;
  }
  for (std::size_t n = 0; n < 400; ++n) out.push_back(n);
  for (std::size_t n = 400; n < size; n += size / 150 + 7) out.push_back(n);
  return out;
}

// The end of the last token: cutting only trailing white space still loads.
std::size_t meaningful_end(const std::string& text) {
  std::size_t n = text.size();
  while (n > 0 && (text[n - 1] == ' ' || text[n - 1] == '\n')) --n;
  return n;
}

bool is_reader_error(std::uint32_t e) {
  for (std::uint32_t x : {3u, 4u, 8u, 11u, 21u, 50u, 51u, 55u, 57u, 58u})
    if (e == x) return true;
  return false;
}

class MalformedObjectTest : public LocaleTest {
 protected:
  // Reads `text` cut at `n` with the whole-locale reader into a null
  // locale; returns the reader's error (None on success).
  static Err whole(const std::string& text, std::size_t n) {
    auto made = locale::create_null_locale();
    EXPECT_TRUE(made.ok());
    if (!made) return made.error();
    std::FILE* f = stream_of(text, n);
    const Err e = locale::read_whole_locale(**made, f);
    if (e != Err::None) std::fclose(f);  // the reader closes only on success
    locale::free_locale(*made);
    return e;
  }

  // Reads category `c` of `text` cut at `n` into `h`, whose CTYPE was read
  // from the whole text; returns the reader's error.
  static Err one(kw_locale& h, int c, const std::string& text, std::size_t n) {
    locale::free_category(h, c);
    EXPECT_EQ(locale::make_null_category(h, c), Err::None);
    std::FILE* f = stream_of(text, n);
    const Err e = locale::read_one_category(h, c, f);
    std::fclose(f);
    return e;
  }
};

TEST_F(MalformedObjectTest, EveryFixtureCutShortFailsWithAnErrorAndLeaksNothing) {
  CountingAllocator::install();
  const std::pair<const char*, std::size_t> fixtures[] = {{"kwa/lc11/default.lco", 1},
                                                          {"kwa/lc11/en_us/0333.lco", 3},
                                                          {"kwa/lc11/xx_yy/ea61.lco", 3},
                                                          {"kwa/lc11/ja_jp/e01c.lco", 1}};
  for (const auto& [name, step] : fixtures) {
    SCOPED_TRACE(name);
    const std::string text = read_file(data_dir() + name);
    ASSERT_GT(text.size(), 100u);
    const std::size_t end = meaningful_end(text);
    ASSERT_EQ(whole(text, text.size()), Err::None);

    // A handle whose CTYPE comes from the whole object, so that the other
    // categories get past the code-set check and into their sections.
    auto made = locale::create_null_locale();
    ASSERT_TRUE(made.ok());
    kw_locale& h = **made;
    ASSERT_EQ(one(h, KW_CTYPE, text, text.size()), Err::None);

    const std::vector<std::size_t> offsets = cut_offsets(text.size(), step);
    for (std::size_t n : offsets) {
      const Err e = whole(text, n);
      if (n < end) {
        EXPECT_TRUE(is_reader_error(err_number(e))) << "whole, cut at " << n << ": " << err_number(e);
      }
      for (int c = KW_COLLATE; c <= KW_MESSAGES; ++c) {
        const Err ec = one(h, c, text, n);
        if (n < end && ec == Err::None) {
          // Only a cut after the category's own section may still load.
          const std::size_t marker = text.find(lco::kMarkers[c]);
          ASSERT_NE(marker, std::string::npos);
          EXPECT_GT(n, marker) << "category " << c << ", cut at " << n;
        } else if (n < end) {
          EXPECT_TRUE(is_reader_error(err_number(ec)))
              << "category " << c << ", cut at " << n << ": " << err_number(ec);
        }
      }
    }
    locale::free_locale(&h);
    kw_free_registry_cache();
    EXPECT_EQ(CountingAllocator::live(), 0u);
  }
  CountingAllocator::uninstall();
}

// Every byte of the POSIX object replaced by characters that change the
// meaning of a token: a digit, a letter, a line end and a sign.
TEST_F(MalformedObjectTest, CorruptedBytesFailOrLoadWithoutLeaks) {
  CountingAllocator::install();
  for (const char* name : {"kwa/lc11/default.lco"}) {
    SCOPED_TRACE(name);
    const std::string text = read_file(data_dir() + name);
    for (std::size_t i = 0; i < text.size(); ++i) {
      for (char c : {'9', 'Z', '\n', '-'}) {
        if (text[i] == c) continue;
        std::string bad = text;
        bad[i] = c;
        const Err e = whole(bad, bad.size());
        if (e != Err::None) {
          EXPECT_TRUE(is_reader_error(err_number(e))) << "byte " << i << " as '" << c << "': " << err_number(e);
        }
      }
    }
    kw_free_registry_cache();
    EXPECT_EQ(CountingAllocator::live(), 0u);
  }
  CountingAllocator::uninstall();
}

// Counts far beyond the size of the file fail without allocating for them.
TEST_F(MalformedObjectTest, HugeCountsFailWithoutAbsurdAllocations) {
  const std::string base = writers::write_lco(latin1_locale());
  struct Edit {
    const char* what;
    int category;
    std::string from;  // first occurrence after the category's marker
    std::string to;
  };
  const std::string huge = "2147483647";
  std::vector<Edit> edits = {
      {"header length", KW_CTYPE, "", ""},
      {"named classes", KW_CTYPE, "\n1\n0 vowel", "\n" + huge + "\n0 vowel"},
      {"case pairs", KW_CTYPE, "\n56\n", "\n" + huge + "\n"},
      {"highest weight index", KW_COLLATE, "1 257 1 2 2 0", "1 " + huge + " 1 2 2 0"},
      {"levels", KW_COLLATE, "1 257 1 2 2 0", "1 257 " + huge + " 2 2 0"},
      {"elements", KW_COLLATE, "1 257 1 2 2 0", "1 257 1 " + huge + " 2 0"},
      {"expansions", KW_COLLATE, "1 257 1 2 2 0", "1 257 1 2 " + huge + " 0"},
      {"string length", KW_NUMERIC, "1 2E", huge + " 2E"},
      {"negative string length", KW_NUMERIC, "1 2E", "-5 2E"},
      {"grouping", KW_NUMERIC, "\n2 3 3", "\n" + huge + " 3 3"},
      {"month array", KW_TIME, "\n12\n", "\n" + huge + "\n"},
      {"negative month array", KW_TIME, "\n12\n", "\n-7\n"},
      {"era array", KW_TIME, "\n2\n31 ", "\n" + huge + "\n31 "},
  };
  CountingAllocator::install();
  for (const Edit& ed : edits) {
    SCOPED_TRACE(ed.what);
    std::string text = base;
    const std::size_t marker = text.find(lco::kMarkers[ed.category]);
    ASSERT_NE(marker, std::string::npos);
    if (ed.from.empty()) {
      // The third header line: its number of header lines.
      const std::size_t at = text.find("=5\n");
      ASSERT_NE(at, std::string::npos);
      text.replace(at, 3, "=" + huge + "\n");
    } else {
      const std::size_t at = text.find(ed.from, marker);
      ASSERT_NE(at, std::string::npos) << ed.from;
      text.replace(at, ed.from.size(), ed.to);
    }
    const Err e = whole(text, text.size());
    // A negative count reads as an empty list and puts the rest of the
    // section out of step, which fails as well.
    EXPECT_NE(e, Err::None);
    EXPECT_TRUE(is_reader_error(err_number(e))) << err_number(e);
    EXPECT_LT(CountingAllocator::live(), 64u);
    kw_free_registry_cache();
    EXPECT_EQ(CountingAllocator::live(), 0u);
  }
  CountingAllocator::uninstall();
}

// Regression: a CTYPE section that failed after its first automaton left the
// codec on the automaton that the read had just released.
TEST_F(MalformedObjectTest, FailedCtypeReadLeavesTheCodecOnTheHandlesAutomaton) {
  const writers::LocaleSource src = twobyte_locale();
  std::string text = writers::write_lco(src, {writers::AutomatonForm::Nodes});
  const std::string first = writers::write_lco_automaton(src.ctype.classes, writers::AutomatonForm::Nodes);
  const std::size_t at = text.find(first, text.find(lco::kMarkers[KW_CTYPE]));
  ASSERT_NE(at, std::string::npos);
  text.resize(at + first.size() + 2);  // the class count "0", not the case automaton
  const std::string path = ::testing::TempDir() + "kwa_cut_ctype.lco";
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;

  kw_locale* h = load_default();
  EXPECT_EQ(kw_setlocale_4(h, KW_CTYPE, path.c_str()), nullptr);
  EXPECT_EQ(error_of(h), 11u);
  EXPECT_EQ(h->head.codec.automaton, h->ctype);
  EXPECT_EQ(kw_mb_loc_max(h), 2);
  const char a[2] = {0, 'A'};
  kw_wchar_t w = 0;
  EXPECT_EQ(kw_full_mbtowc(h, &w, a, 2), 2);
  EXPECT_EQ(w, 0x41u);
  kw_lc_unload(h);
  std::remove(path.c_str());
}

}  // namespace
}  // namespace kw::testing
