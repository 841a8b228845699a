// Tests of the character codec over the fixture code sets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "codeset/codec_core.h"
#include "codeset_test_support.h"

namespace kw::codeset {
namespace {

using kw::testing::CodecLocale;
using kw::testing::CountingAllocator;
using Wide = std::vector<kw_wchar_t>;

// Loads a fixture charmap and a locale head over it for each test.
class CodecTest : public kw::testing::KwTest {
 protected:
  void TearDown() override {
    loc_.reset();
    kw_cm_unload(cm_);
    KwTest::TearDown();
  }
  kw_locale* use(const char* name) {
    cm_ = kw::testing::load_fixture_charmap(name);
    EXPECT_NE(cm_, nullptr);
    loc_ = std::make_unique<CodecLocale>(cm_);
    return h_ = loc_->handle();
  }
  std::uint32_t& err() { return loc_->error(); }

  kw_charmap* cm_ = nullptr;
  std::unique_ptr<CodecLocale> loc_;
  kw_locale* h_ = nullptr;
};

// EUC-JP sample: "A", hiragana A (a4 a2), a half-width katakana (8e b1), a
// JIS X 0212 character (8f b0 a1), "z".
const char kEuc[] = "A\xa4\xa2\x8e\xb1\x8f\xb0\xa1z";
const Wide kEucValues = {0x41, 0xA4A2, 0x8EB1, 0x8FB0A1, 0x7A};

TEST_F(CodecTest, WalkDecodesValuesAndReportsErrors) {
  kw_locale* h = use("eucjp");
  kw_wchar_t wc = 99;
  EXPECT_EQ(qrt_kw_full_mbtowc(h, &wc, kEuc + 1, 4), 2);
  EXPECT_EQ(wc, 0xA4A2u);
  EXPECT_EQ(kw_full_mbtowc(h, &wc, kEuc + 5, 3), 3);
  EXPECT_EQ(wc, 0x8FB0A1u);
  EXPECT_EQ(kw_full_mblen(h, kEuc + 3, 2), 2);
  EXPECT_EQ(qrt_kw_full_mblen(h, kEuc, 1), 1);
  // NUL: 0 from the plain forms, its length from qrt_kw_full_mblen.
  EXPECT_EQ(kw_full_mbtowc(h, &wc, "", 1), 0);
  EXPECT_EQ(wc, 0u);
  EXPECT_EQ(kw_full_mblen(h, "", 1), 0);
  EXPECT_EQ(qrt_kw_full_mblen(h, "", 1), 1);
  // -1 takes the string's length: the walk then stops inside a character.
  EXPECT_EQ(qrt_kw_full_mbtowc(h, &wc, "\x8f\xb0\xa1", -1), 3);
  EXPECT_EQ(kw_full_mblen(h, "\xa4\xa2", -1), 2);
  EXPECT_EQ(err(), 0u);

  EXPECT_EQ(qrt_kw_full_mbtowc(h, &wc, "", -1), -1) << "empty string under -1";
  EXPECT_KW_ERROR(err(), Err::Short);
  EXPECT_EQ(kw_full_mbtowc(h, &wc, kEuc, -1), -1) << "no -1 convention";
  EXPECT_KW_ERROR(err(), Err::Short);
  EXPECT_EQ(kw_full_mbtowc(h, &wc, kEuc, 0), -1);
  EXPECT_KW_ERROR(err(), Err::Short);
  EXPECT_EQ(qrt_kw_full_mblen(h, kEuc + 5, 2), -1);
  EXPECT_KW_ERROR(err(), Err::Short);
  EXPECT_EQ(kw_full_mblen(h, "\xff", 4), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_full_mblen(h, "\xa4\x41", 4), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_full_mbtowc(h, &wc, nullptr, 4), 0);
  EXPECT_EQ(kw_full_mblen(h, nullptr, 4), 0);
}

TEST_F(CodecTest, SingleByteWalkBypassesTheAutomaton) {
  kw_locale* h = use("8859-1");
  EXPECT_EQ(head(h).codec.single_byte, 1u);
  kw_wchar_t wc = 0;
  EXPECT_EQ(kw_full_mbtowc(h, &wc, "\xe9", 1), 1);
  EXPECT_EQ(wc, 0xE9u);
  EXPECT_EQ(kw_full_mblen(h, "", 1), 0);
  EXPECT_EQ(qrt_kw_full_mblen(h, "", 1), 1);
  EXPECT_EQ(kw_wclen(h, 0x1234), 1) << "single-byte sets answer 1 without encoding";
  char out[4];
  EXPECT_EQ(kw_full_wctomb(h, out, 0x1234), -1) << "the encoder always walks the automaton";
  EXPECT_KW_ERROR(err(), Err::Ilseq);
}

TEST_F(CodecTest, TerminatorHasTheShortestLength) {
  kw_locale* h = use("unicode");
  char buf[4] = {1, 1, 1, 1};
  EXPECT_EQ(kw_mbsterm(h, buf), 2);
  EXPECT_EQ(buf[0], 0);
  EXPECT_EQ(buf[1], 0);
  EXPECT_EQ(buf[2], 1);
  EXPECT_EQ(kw_ismbsterm(h, buf), 2);
  EXPECT_EQ(kw_ismbsterm(h, "\0A"), 0);
  EXPECT_EQ(kw_mbsbytes(h, "\0A\0B\0\0"), 6u);
  EXPECT_EQ(kw_im_mbslen(h, "\0A\0B\0\0"), 2);
  // The NUL character needs both zero bytes.
  kw_wchar_t wc = 7;
  EXPECT_EQ(kw_full_mbtowc(h, &wc, "\0\0", 2), 0);
  EXPECT_EQ(wc, 0u);
  EXPECT_EQ(qrt_kw_full_mblen(h, "\0\0", 2), 2);
  EXPECT_EQ(kw_full_mblen(h, "\0", 1), -1);
  EXPECT_KW_ERROR(err(), Err::Short);
}

TEST_F(CodecTest, EncodesAtLeastTheShortestLength) {
  kw_locale* h = use("unicode");
  char out[4] = {};
  EXPECT_EQ(kw_full_wctomb(h, out, 0x41), 2);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(out[1], 0x41);
  EXPECT_EQ(kw_full_wctomb(h, out, 0x3042), 2);
  EXPECT_EQ(static_cast<unsigned char>(out[0]), 0x30);
  EXPECT_EQ(kw_wclen(h, 0x4E00), 2);
  EXPECT_EQ(kw_full_wctomb(h, out, 0x0100), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_wclen(h, 0x123456), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
}

TEST_F(CodecTest, EncodesEveryLengthInEucJp) {
  kw_locale* h = use("eucjp");
  for (std::size_t i = 0; i < kEucValues.size(); ++i) {
    char out[4] = {};
    const int n = kw_full_wctomb(h, out, kEucValues[i]);
    ASSERT_GT(n, 0) << i;
    kw_wchar_t back = 0;
    EXPECT_EQ(kw_full_mbtowc(h, &back, out, n), n);
    EXPECT_EQ(back, kEucValues[i]);
  }
  char out[4];
  EXPECT_EQ(kw_full_wctomb(h, out, 0x8FA3A1), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
}

TEST_F(CodecTest, SteppingForwardAndBack) {
  kw_locale* h = use("eucjp");
  const char* p = kEuc;
  std::vector<const char*> starts;
  while (*p != '\0') {
    starts.push_back(p);
    p = kw_full_mbsnext(h, p);
    ASSERT_NE(p, nullptr);
  }
  ASSERT_EQ(starts.size(), kEucValues.size());
  for (std::size_t i = starts.size(); i-- > 1;) EXPECT_EQ(kw_full_mbsprev(h, kEuc, starts[i]), starts[i - 1]);
  EXPECT_EQ(kw_full_mbsprev(h, kEuc, p), starts.back());
  EXPECT_EQ(kw_full_mbsprev(h, kEuc, kEuc), nullptr);
  EXPECT_KW_ERROR(err(), Err::NoPrev);
  EXPECT_EQ(kw_full_mbsprev(h, kEuc + 1, kEuc), nullptr);
  EXPECT_KW_ERROR(err(), Err::NoPrev);
  // A position inside a character: the walk runs out of room within it.
  EXPECT_EQ(kw_full_mbsprev(h, kEuc, kEuc + 6), nullptr);
  EXPECT_KW_ERROR(err(), Err::Short);

  EXPECT_EQ(qrt_kw_full_mbsnext(h, kEuc + 5, 3), kEuc + 8);
  EXPECT_EQ(qrt_kw_full_mbsnext(h, kEuc + 5, 2), nullptr);
  EXPECT_KW_ERROR(err(), Err::Short);
  EXPECT_EQ(qrt_kw_full_mbsnext(h, kEuc, 0), nullptr);
  EXPECT_KW_ERROR(err(), Err::Short);
  EXPECT_EQ(kw_full_mbsnext(h, "\xff"), nullptr);
  EXPECT_KW_ERROR(err(), Err::Ilseq);

  for (std::size_t i = 0; i < starts.size(); ++i) EXPECT_EQ(kw_full_getmbsi(h, kEuc, static_cast<int>(i)), starts[i]);
  EXPECT_EQ(kw_full_getmbsi(h, kEuc, 5), p);
  EXPECT_EQ(kw_full_getmbsi(h, kEuc, 6), nullptr);
  EXPECT_KW_ERROR(err(), Err::BadIndex);
  EXPECT_EQ(kw_full_getmbsi(h, kEuc, -1), nullptr);
  EXPECT_KW_ERROR(err(), Err::BadIndex);
  EXPECT_EQ(kw_full_getmbsi(h, nullptr, 0), nullptr);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
}

TEST_F(CodecTest, PutmbsiReplacesOneCharacterAndShiftsTheRest) {
  kw_locale* h = use("eucjp");
  char buf[32] = "A\xa4\xa2z";
  EXPECT_EQ(kw_full_putmbsi(h, buf, 1, "B"), buf);  // shorter
  EXPECT_STREQ(buf, "ABz");
  EXPECT_EQ(kw_full_putmbsi(h, buf, 0, "\x8f\xb0\xa1"), buf);  // longer
  EXPECT_STREQ(buf, "\x8f\xb0\xa1" "Bz");
  EXPECT_EQ(kw_full_putmbsi(h, buf, 3, "\xa4\xa2"), buf);  // at the terminator: appended
  EXPECT_STREQ(buf, "\x8f\xb0\xa1" "Bz\xa4\xa2");
  EXPECT_EQ(kw_full_putmbsi(h, buf, 5, "C"), nullptr);
  EXPECT_KW_ERROR(err(), Err::BadIndex);
  EXPECT_EQ(kw_full_putmbsi(h, buf, 0, "\xff"), nullptr);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_full_putmbsi(h, buf, -2, "C"), nullptr);
  EXPECT_KW_ERROR(err(), Err::BadIndex);
  EXPECT_STREQ(buf, "\x8f\xb0\xa1" "Bz\xa4\xa2") << "failures leave the string as it was";
}

TEST_F(CodecTest, StringMeasures) {
  kw_locale* h = use("eucjp");
  EXPECT_EQ(kw_mbsbytes(h, kEuc), sizeof kEuc);
  EXPECT_EQ(kw_mbsbytes(h, ""), 1u);
  EXPECT_EQ(kw_mbsbytes(h, "\xff"), 0u);
  EXPECT_EQ(kw_mbsbytes(h, nullptr), 0u);
  EXPECT_EQ(kw_im_mbslen(h, kEuc), 5);
  EXPECT_EQ(qrt_kw_im_mbfslen(h, kEuc, -1), 5);
  EXPECT_EQ(qrt_kw_im_mbfslen(h, kEuc, 8), 4);
  EXPECT_EQ(qrt_kw_im_mbfslen(h, "A\0B", 3), 3) << "a NUL inside the length is a character";
  EXPECT_EQ(qrt_kw_im_mbfslen(h, kEuc, 7), -1) << "last character runs past the end";
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_im_mbslen(h, "A\x8f"), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  const kw_wchar_t ws[] = {1, 2, 3, 0};
  EXPECT_EQ(kw_wcslen(ws), 3);
  EXPECT_EQ(kw_wcsbytes(ws), 16);
  EXPECT_EQ(kw_wcsbytes(ws + 3), 4);
}

TEST_F(CodecTest, DecodesStringsWithAndWithoutLengths) {
  kw_locale* h = use("eucjp");
  Wide out(10, 0xFFFF);
  EXPECT_EQ(kw_im_mbstowcs(h, out.data(), kEuc, 10), 5);
  EXPECT_EQ(Wide(out.begin(), out.begin() + 6), (Wide{0x41, 0xA4A2, 0x8EB1, 0x8FB0A1, 0x7A, 0}));
  std::fill(out.begin(), out.end(), 0xFFFF);
  EXPECT_EQ(kw_im_mbstowcs(h, out.data(), kEuc, 2), 2) << "count reached before the end";
  EXPECT_EQ(out[2], 0xFFFFu);
  EXPECT_EQ(kw_im_mbstowcs(h, nullptr, kEuc, 100), 5) << "null output counts";
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, out.data(), kEuc, 3, 10), 2);
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, out.data(), "A\0B", 3, 10), 3);
  EXPECT_EQ(out[1], 0u);
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, out.data(), kEuc, 2, 10), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_im_mbstowcs(h, out.data(), "A\xff", 10), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, out.data(), kEuc, -2, 10), -1);
  EXPECT_KW_ERROR(err(), Err::Inval);
}

TEST_F(CodecTest, EncodesStringsWithinTheRoom) {
  kw_locale* h = use("eucjp");
  const Wide ws = {0x41, 0xA4A2, 0x8FB0A1, 0x7A, 0};
  char out[16];
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(kw_full_wcstombs(h, out, ws.data(), 16), 7);
  EXPECT_EQ(std::string(out, 8), std::string("A\xa4\xa2\x8f\xb0\xa1z\0", 8));
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(kw_full_wcstombs(h, out, ws.data(), 5), 3) << "stops before the 3-byte character";
  EXPECT_EQ(out[3], 'x');
  EXPECT_EQ(kw_full_wcstombs(h, out, ws.data() + 1, 1), 0) << "first value does not fit";
  EXPECT_EQ(qrt_kw_full_wcstombs(h, out, ws.data(), 2, 16), 3);
  EXPECT_EQ(out[3], 'x') << "no terminator with an explicit length";
  const Wide bad = {0x41, 0xA4A1 + 0x5E, 0};  // a4 ff is not a character
  EXPECT_EQ(kw_full_wcstombs(h, out, bad.data(), 16), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
}

// The full, is and im forms agree on a single-byte code set.
TEST_F(CodecTest, FullIsAndImFormsAgreeOnSingleByteText) {
  kw_locale* h = use("8859-1");
  const char text[] = "caf\xe9 \xa0na\xefve\x7f!";
  Wide im(32, 0xFFFF), is(32, 0xFFFF);
  const int n = kw_im_mbstowcs(h, im.data(), text, 32);
  kw_is_mbstowcs(h, is.data(), text, 32);
  EXPECT_EQ(n, static_cast<int>(std::strlen(text)));
  // Compared up to the 0 value: slots after it are scratch for the im form.
  EXPECT_TRUE(std::equal(im.begin(), im.begin() + n + 1, is.begin()));
  Wide im2(32, 0xFFFF), is2(32, 0xFFFF);
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, im2.data(), text, 6, 32), 6);
  qrt_kw_is_mbfstowcfs(h, is2.data(), text, 6, 32);
  EXPECT_EQ(im2, is2);
  EXPECT_EQ(kw_im_mbslen(h, text), n);

  char full[32], isout[32];
  EXPECT_EQ(kw_full_wcstombs(h, full, im.data(), 32), n);
  EXPECT_EQ(kw_is_wcstombs(h, isout, im.data(), 32), n);
  EXPECT_STREQ(full, text);
  EXPECT_STREQ(isout, text);
  EXPECT_EQ(qrt_kw_is_wcstombs(h, isout, im.data(), 3, 32), 3);
  const Wide wide = {0x41, 0x100, 0};
  EXPECT_EQ(kw_is_wcstombs(h, isout, wide.data(), 32), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_full_wcstombs(h, full, wide.data(), 32), 2) << "the full form keeps the low byte";
  EXPECT_EQ(full[1], '\0');
}

TEST_F(CodecTest, TrailingBlanksAndSpaces) {
  kw_locale* h = use("unicode");
  // Two-byte text: "ab" + two blanks; three blanks; a no-break space (space
  // but not blank) at the end; a tab (blank but cntrl) at the end.
  const char two_blanks[] = "\0a\0b\0 \x30\x00\0\0";
  EXPECT_EQ(kw_mbsntslen(h, two_blanks), 2);
  EXPECT_EQ(kw_mbsntsbytes(h, two_blanks), 4);
  EXPECT_EQ(kw_mbsntslen(h, "\0 \0 \0 \0\0"), 0);
  EXPECT_EQ(kw_mbsntslen(h, "\0\0"), 0);
  EXPECT_EQ(kw_mbsntslen(h, "\0a\0\xa0\0\0"), 2) << "no-break space is not blank";
  EXPECT_EQ(kw_mbsntslen(h, "\0a\0\t\0\0"), 2) << "tab is a control";
  EXPECT_EQ(kw_mbsntslen(h, "\0 \0a\0 \0\0"), 2) << "inner blanks count";
  EXPECT_EQ(qrt_kw_mbsntslen(h, two_blanks, 6), 2);
  EXPECT_EQ(qrt_kw_mbsntsbytes(h, two_blanks, 2), 2);

  const kw_wchar_t wide[] = {'a', 'b', 0x20, 0x3000, 0};
  EXPECT_EQ(kw_wcsntslen(h, wide), 2);
  const kw_wchar_t nbsp[] = {'a', 0xA0, 0};
  EXPECT_EQ(kw_wcsntslen(h, nbsp), 1) << "the wide form trims spaces";
  const kw_wchar_t nl[] = {'a', '\n', 0};
  EXPECT_EQ(kw_wcsntslen(h, nl), 2) << "newline is a control";
  EXPECT_EQ(qrt_kw_wcsntslen(h, wide, 3), 2);
  EXPECT_EQ(qrt_kw_wcsntslen(h, wide, -2), -1);
  EXPECT_KW_ERROR(err(), Err::Inval);
  EXPECT_EQ(kw_mbsntslen(h, nullptr), -1);
  EXPECT_KW_ERROR(err(), Err::BadPtr);

  char trunc[] = "\0a\0 \0 \0\0";
  EXPECT_EQ(kw_mbsntstrunc(h, trunc), trunc + 2);
  EXPECT_EQ(kw_im_mbslen(h, trunc), 1);
  char none[] = "\0a\0\0";
  EXPECT_EQ(kw_mbsntstrunc(h, none), nullptr);
  kw_wchar_t wt[] = {'a', ' ', '\n', 0};
  kw_wcsntstrunc(h, wt);
  EXPECT_EQ(wt[1], 0u) << "no control exclusion when truncating";
  EXPECT_EQ(err(), 0u);
}

TEST_F(CodecTest, WideTrailingRunInSingleByteLocaleFlagsLargeValues) {
  kw_locale* h = use("8859-1");
  EXPECT_EQ(kw_mbsntslen(h, "ab  "), 2);
  const kw_wchar_t ws[] = {'a', 0x3000, 0};
  EXPECT_EQ(kw_wcsntslen(h, ws), 2);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
}

TEST_F(CodecTest, Utf8RoundTripsEveryLength) {
  kw_locale* h = use("utf8");
  const char text[] = "a\xc3\xa9\xe3\x81\x82\xf0\x9f\x98\x80";
  Wide w(8, 0);
  ASSERT_EQ(kw_im_mbstowcs(h, w.data(), text, 8), 4);
  EXPECT_EQ(w[1], 0xC3A9u);
  EXPECT_EQ(w[3], 0xF09F9880u);
  char back[16];
  EXPECT_EQ(kw_full_wcstombs(h, back, w.data(), 16), 10);
  EXPECT_STREQ(back, text);
  EXPECT_EQ(kw_full_mblen(h, "\xed\xa0\x80", 3), -1) << "surrogates are not characters";
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_full_mblen(h, "\xc0\x80", 2), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
}

TEST_F(CodecTest, NullArgumentsFailWithoutCrashing) {
  kw_locale* h = use("eucjp");
  EXPECT_EQ(kw_full_wctomb(h, nullptr, 0x41), -1);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  EXPECT_EQ(kw_full_mbsnext(h, nullptr), nullptr);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  EXPECT_EQ(kw_full_mbsprev(h, nullptr, kEuc), nullptr);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  EXPECT_EQ(kw_im_mbslen(h, nullptr), -1);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  EXPECT_EQ(kw_im_mbstowcs(h, nullptr, nullptr, 1), -1);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  EXPECT_EQ(kw_full_wcstombs(h, nullptr, nullptr, 1), -1);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  EXPECT_EQ(kw_mbsterm(h, nullptr), -1);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  EXPECT_EQ(kw_ismbsterm(h, nullptr), 0);
  EXPECT_EQ(kw_wcslen(nullptr), 0);
  EXPECT_EQ(kw_wcsntslen(h, nullptr), -1);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  kw_wcsntstrunc(h, nullptr);
  EXPECT_KW_ERROR(err(), Err::BadPtr);
  EXPECT_EQ(kw_full_mblen(nullptr, kEuc, 4), 0);
  EXPECT_EQ(kw_im_mbslen(nullptr, kEuc), -1);
}

TEST_F(CodecTest, EmptyLocaleAutomatonRejectsEverything) {
  LocaleHead head{};
  auto a = automaton_create(2, nullptr);
  ASSERT_TRUE(a.ok());
  head.codec.automaton = *a;
  head.codec.shortest = 4;
  kw_locale* h = reinterpret_cast<kw_locale*>(&head);
  EXPECT_EQ(kw_full_mblen(h, "A", 1), -1);
  EXPECT_KW_ERROR(head.error, Err::Ilseq);
  EXPECT_EQ(kw_mbsbytes(h, "A"), 0u);
  char term[4];
  EXPECT_EQ(kw_mbsterm(h, term), 4);
  automaton_release(*a);
}

TEST_F(CodecTest, DecodingAndEncodingAllocateNothing) {
  kw_locale* h = use("eucjp");
  CountingAllocator::install();
  Wide w(16);
  char out[32];
  EXPECT_EQ(kw_im_mbstowcs(h, w.data(), kEuc, 16), 5);
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, w.data(), kEuc, 9, 16), 5);
  EXPECT_EQ(kw_full_wcstombs(h, out, w.data(), 32), 9);
  char buf[32] = "A\xa4\xa2z";
  EXPECT_NE(kw_full_putmbsi(h, buf, 1, "\x8f\xb0\xa1"), nullptr);
  EXPECT_EQ(kw_mbsntslen(h, kEuc), 5);
  EXPECT_EQ(CountingAllocator::calls(), 0u);
  CountingAllocator::uninstall();
}

TEST_F(CodecTest, InstalledEntryPointsMatchTheExports) {
  kw_locale* h = use("8859-1");
  Wide a(8, 1), b(8, 1);
  EXPECT_EQ(is_mbfstowcfs(h, a.data(), "ab\xe9", -1, 8), 3);
  EXPECT_EQ(im_mbfstowcfs(h, b.data(), "ab\xe9", -1, 8), 3);
  EXPECT_EQ(a, b);
}

}  // namespace
}  // namespace kw::codeset
