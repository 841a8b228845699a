// Tests of the character codec over the fixture code sets, and of its
// exported functions at the edges of their arguments: null pointers, zero
// and negative lengths and counts, handles without an automaton, and random
// bytes in buffers of their exact size.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
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

class CodecTest : public kw::testing::CodecFixture {
 protected:
  kw_locale* open(const char* name) { return use(name).handle(); }
};

// EUC-JP sample: "A", hiragana A (a4 a2), a half-width katakana (8e b1), a
// JIS X 0212 character (8f b0 a1), "z".
const char kEuc[] = "A\xa4\xa2\x8e\xb1\x8f\xb0\xa1z";
const Wide kEucValues = {0x41, 0xA4A2, 0x8EB1, 0x8FB0A1, 0x7A};

// The one-character walk in its four forms: the plain ones return 0 for
// NUL, qrt_kw_full_mblen its length; only the qrt forms take -1 as the
// string's length, and a string whose length cannot be measured (an illegal
// character further on) then measures 0 bytes and fails with Short.
TEST_F(CodecTest, WalkDecodesValuesAndReportsErrors) {
  enum Form { Mbtowc, QrtMbtowc, Mblen, QrtMblen };
  const struct {
    const char* charmap;
    Form form;
    std::string bytes;
    int length, result;
    kw_wchar_t value;
    Err err;
  } rows[] = {
      {"eucjp", QrtMbtowc, "\xa4\xa2", 4, 2, 0xA4A2, Err::None},
      {"eucjp", Mbtowc, "\x8f\xb0\xa1z", 3, 3, 0x8FB0A1, Err::None},
      {"eucjp", Mblen, "\x8e\xb1", 2, 2, 0, Err::None},
      {"eucjp", QrtMblen, "A", 1, 1, 0, Err::None},
      {"eucjp", Mbtowc, "", 1, 0, 0, Err::None},
      {"eucjp", Mblen, "", 1, 0, 0, Err::None},
      {"eucjp", QrtMblen, "", 1, 1, 0, Err::None},
      {"eucjp", QrtMbtowc, "\x8f\xb0\xa1", -1, 3, 0x8FB0A1, Err::None},
      {"eucjp", Mblen, "A\xa4", 2, 1, 0, Err::None},
      {"eucjp", QrtMbtowc, "", -1, -1, 0, Err::Short},  // an empty string under -1
      {"eucjp", QrtMbtowc, "A\xff", -1, -1, 0, Err::Short},
      {"eucjp", Mblen, "A\xa4", -1, -1, 0, Err::Short},
      {"eucjp", Mbtowc, "A", -1, -1, 0, Err::Short},
      {"eucjp", Mbtowc, "A", 0, -1, 0, Err::Short},
      {"eucjp", QrtMblen, "\x8f\xb0", 2, -1, 0, Err::Short},
      {"8859-1", Mbtowc, "\xe9", 1, 1, 0xE9, Err::None},  // single-byte: no automaton walk
      {"8859-1", Mblen, "", 1, 0, 0, Err::None},
      {"8859-1", QrtMblen, "", 1, 1, 0, Err::None},
      {"unicode", Mbtowc, std::string(2, '\0'), 2, 0, 0, Err::None},  // NUL needs both zero bytes
      {"unicode", QrtMblen, std::string(2, '\0'), 2, 2, 0, Err::None},
      {"unicode", Mblen, std::string(1, '\0'), 1, -1, 0, Err::Short},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.charmap) + ' ' + std::to_string(row.form) + ' ' + row.bytes + ' ' + std::to_string(row.length));
    kw_locale* h = open(row.charmap);
    kw_wchar_t wc = 99;
    const char* s = row.bytes.data();
    switch (row.form) {
      case Mbtowc: EXPECT_EQ(kw_full_mbtowc(h, &wc, s, row.length), row.result); break;
      case QrtMbtowc: EXPECT_EQ(qrt_kw_full_mbtowc(h, &wc, s, row.length), row.result); break;
      case Mblen: EXPECT_EQ(kw_full_mblen(h, s, row.length), row.result); break;
      case QrtMblen: EXPECT_EQ(qrt_kw_full_mblen(h, s, row.length), row.result); break;
    }
    if ((row.form == Mbtowc || row.form == QrtMbtowc) && row.result >= 0) {
      EXPECT_EQ(wc, row.value);
    }
    EXPECT_KW_ERROR(err(), row.err);
  }
  EXPECT_EQ(head(open("8859-1")).codec.single_byte, 1u);
}

TEST_F(CodecTest, TerminatorHasTheShortestLength) {
  kw_locale* h = open("unicode");
  char buf[4] = {1, 1, 1, 1};
  EXPECT_EQ(kw_mbsterm(h, buf), 2);
  EXPECT_EQ(buf[0], 0);
  EXPECT_EQ(buf[1], 0);
  EXPECT_EQ(buf[2], 1);
  EXPECT_EQ(kw_ismbsterm(h, buf), 2);
  EXPECT_EQ(kw_ismbsterm(h, "\0A"), 0);
  EXPECT_EQ(kw_mbsbytes(h, "\0A\0B\0\0"), 6u);
  EXPECT_EQ(kw_im_mbslen(h, "\0A\0B\0\0"), 2);
}

// Each character decodes to its value and encodes back to its bytes, in
// every code set and at every length; values and bytes that are not
// characters fail with Ilseq.
TEST_F(CodecTest, EncodesAndDecodesEveryLength) {
  const struct {
    const char* charmap;
    std::string bytes;
    kw_wchar_t value;
  } chars[] = {
      {"unicode", std::string("\0A", 2), 0x41},  // at least the shortest length
      {"unicode", "\x30\x42", 0x3042},
      {"eucjp", "A", 0x41},
      {"eucjp", "\xa4\xa2", 0xA4A2},
      {"eucjp", "\x8e\xb1", 0x8EB1},
      {"eucjp", "\x8f\xb0\xa1", 0x8FB0A1},
      {"utf8", "\xc3\xa9", 0xC3A9},
      {"utf8", "\xf0\x9f\x98\x80", 0xF09F9880},
      {"8859-1", "\xe9", 0xE9},
  };
  for (const auto& c : chars) {
    SCOPED_TRACE(c.value);
    kw_locale* h = open(c.charmap);
    char out[4] = {};
    const int n = static_cast<int>(c.bytes.size());
    EXPECT_EQ(kw_full_wctomb(h, out, c.value), n);
    EXPECT_EQ(std::string(out, c.bytes.size()), c.bytes);
    EXPECT_EQ(kw_wclen(h, c.value), n);
    kw_wchar_t back = 0;
    EXPECT_EQ(kw_full_mbtowc(h, &back, c.bytes.data(), n), n);
    EXPECT_EQ(back, c.value);
    EXPECT_EQ(err(), 0u);
  }
  const struct {
    const char* charmap;
    kw_wchar_t value;
  } bad_values[] = {{"unicode", 0x0100}, {"unicode", 0x123456}, {"eucjp", 0x8FA3A1},
                    {"8859-1", 0x1234}};  // the encoder walks the automaton even here
  for (const auto& c : bad_values) {
    kw_locale* h = open(c.charmap);
    char out[4];
    EXPECT_EQ(kw_full_wctomb(h, out, c.value), -1) << c.value;
    EXPECT_KW_ERROR(err(), Err::Ilseq);
  }
  EXPECT_EQ(kw_wclen(open("8859-1"), 0x1234), 1) << "single-byte sets answer 1 without encoding";
  EXPECT_EQ(kw_wclen(open("unicode"), 0x123456), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  const struct {
    const char* charmap;
    std::string bytes;
  } bad_bytes[] = {{"eucjp", "\xff"}, {"eucjp", "\xa4\x41"}, {"utf8", "\xed\xa0\x80"} /* a surrogate */,
                   {"utf8", "\xc0\x80"}};
  for (const auto& c : bad_bytes) {
    EXPECT_EQ(kw_full_mblen(open(c.charmap), c.bytes.data(), 4), -1) << c.bytes;
    EXPECT_KW_ERROR(err(), Err::Ilseq);
  }
}

TEST_F(CodecTest, SteppingForwardAndBack) {
  kw_locale* h = open("eucjp");
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
  kw_locale* h = open("eucjp");
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
  kw_locale* h = open("eucjp");
  EXPECT_EQ(kw_mbsbytes(h, kEuc), sizeof kEuc);
  EXPECT_EQ(kw_mbsbytes(h, ""), 1u);
  EXPECT_EQ(kw_mbsbytes(h, "\xff"), 0u);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_mbsbytes(h, nullptr), 0u);
  EXPECT_EQ(kw_im_mbslen(h, kEuc), 5);
  EXPECT_EQ(qrt_kw_im_mbfslen(h, kEuc, -1), 5);
  EXPECT_EQ(qrt_kw_im_mbfslen(h, kEuc, 8), 4);
  EXPECT_EQ(qrt_kw_im_mbfslen(h, "A\0B", 3), 3) << "a NUL inside the length is a character";
  Wide out(4, 0xFFFF);
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, out.data(), "A\0B", 3, 4), 3);
  EXPECT_EQ(out[1], 0u);
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, out.data(), kEuc, -2, 4), -1);
  EXPECT_KW_ERROR(err(), Err::Inval);
  EXPECT_EQ(qrt_kw_im_mbfslen(h, kEuc, 7), -1) << "last character runs past the end";
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  EXPECT_EQ(kw_im_mbslen(h, "A\x8f"), -1);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
  const kw_wchar_t ws[] = {1, 2, 3, 0};
  EXPECT_EQ(kw_wcslen(ws), 3);
  EXPECT_EQ(kw_wcsbytes(ws), 16);
  EXPECT_EQ(kw_wcsbytes(ws + 3), 4);
}

// The full, is and im forms agree on a single-byte code set.
TEST_F(CodecTest, FullIsAndImFormsAgreeOnSingleByteText) {
  kw_locale* h = open("8859-1");
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
  kw_locale* h = open("unicode");
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
  kw_locale* h = open("8859-1");
  EXPECT_EQ(kw_mbsntslen(h, "ab  "), 2);
  const kw_wchar_t ws[] = {'a', 0x3000, 0};
  EXPECT_EQ(kw_wcsntslen(h, ws), 2);
  EXPECT_KW_ERROR(err(), Err::Ilseq);
}

TEST_F(CodecTest, Utf8StringsRoundTrip) {
  kw_locale* h = open("utf8");
  const char text[] = "a\xc3\xa9\xe3\x81\x82\xf0\x9f\x98\x80";
  Wide w(8, 0);
  ASSERT_EQ(kw_im_mbstowcs(h, w.data(), text, 8), 4);
  EXPECT_EQ(w[2], 0xE38182u);
  char back[16];
  EXPECT_EQ(kw_full_wcstombs(h, back, w.data(), 16), 10);
  EXPECT_STREQ(back, text);
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
  EXPECT_KW_ERROR(head.error, Err::Ilseq);
  char term[4];
  EXPECT_EQ(kw_mbsterm(h, term), 4);
  automaton_release(*a);
}

TEST_F(CodecTest, DecodingAndEncodingAllocateNothing) {
  kw_locale* h = open("eucjp");
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

class CodecArgumentsTest : public kw::testing::CodecFixture {};

// Calls every exported codec function with null pointers and with lengths
// and counts of 0, -1, -2 and INT_MIN. Nothing may crash or write outside
// the buffers (the sanitizers watch); where a failure is defined its value
// is checked, and null pointers where an error is defined store BadPtr.
void sweep(kw_locale* h) {
  const char text[] = "ab";
  char buf[16] = "ab";
  kw_wchar_t wbuf[8] = {'a', 'b', 0};
  kw_wchar_t wc = 0;
  std::uint32_t& e = head(h).error;
#define EXPECT_BADPTR(call, result) \
  EXPECT_EQ(call, result);          \
  EXPECT_KW_ERROR(e, Err::BadPtr)
  EXPECT_EQ(kw_full_mbtowc(h, &wc, nullptr, 4), 0);
  EXPECT_EQ(qrt_kw_full_mbtowc(h, &wc, nullptr, -1), 0);
  EXPECT_EQ(kw_full_mblen(h, nullptr, 4), 0);
  EXPECT_EQ(qrt_kw_full_mblen(h, nullptr, 4), 0);
  EXPECT_BADPTR(kw_full_wctomb(h, nullptr, 'a'), -1);
  EXPECT_BADPTR(kw_full_mbsnext(h, nullptr), nullptr);
  EXPECT_EQ(qrt_kw_full_mbsnext(h, nullptr, 4), nullptr);
  EXPECT_BADPTR(kw_full_mbsprev(h, nullptr, text + 1), nullptr);
  EXPECT_EQ(kw_full_mbsprev(h, text, nullptr), nullptr);
  EXPECT_EQ(kw_mbsbytes(h, nullptr), 0u);
  EXPECT_BADPTR(kw_im_mbslen(h, nullptr), -1);
  EXPECT_EQ(qrt_kw_im_mbfslen(h, nullptr, 2), -1);
  EXPECT_BADPTR(kw_mbsterm(h, nullptr), -1);
  EXPECT_EQ(kw_ismbsterm(h, nullptr), 0);
  EXPECT_EQ(qrt_kw_im_mbfstowcfs(h, wbuf, nullptr, 2, 2), -1);
  EXPECT_BADPTR(kw_im_mbstowcs(h, wbuf, nullptr, 2), -1);
  qrt_kw_is_mbfstowcfs(h, wbuf, nullptr, 2, 2);
  kw_is_mbstowcs(h, wbuf, nullptr, 2);
  qrt_kw_is_mbfstowcfs(h, nullptr, text, 2, 2);
  EXPECT_EQ(qrt_kw_full_wcstombs(h, nullptr, wbuf, 2, 4), -1);
  EXPECT_BADPTR(kw_full_wcstombs(h, buf, nullptr, 4), -1);
  EXPECT_EQ(qrt_kw_is_wcstombs(h, nullptr, wbuf, 2, 4), -1);
  EXPECT_EQ(kw_is_wcstombs(h, buf, nullptr, 4), -1);
  EXPECT_BADPTR(kw_full_getmbsi(h, nullptr, 0), nullptr);
  EXPECT_EQ(kw_full_putmbsi(h, nullptr, 0, "a"), nullptr);
  EXPECT_EQ(kw_full_putmbsi(h, buf, 0, nullptr), nullptr);
  EXPECT_BADPTR(kw_mbsntslen(h, nullptr), -1);
  EXPECT_EQ(qrt_kw_mbsntslen(h, nullptr, 2), -1);
  EXPECT_EQ(kw_mbsntsbytes(h, nullptr), -1);
  EXPECT_EQ(qrt_kw_mbsntsbytes(h, nullptr, 2), -1);
  EXPECT_BADPTR(kw_wcsntslen(h, nullptr), -1);
  EXPECT_EQ(qrt_kw_wcsntslen(h, nullptr, 2), -1);
  EXPECT_EQ(kw_mbsntstrunc(h, nullptr), nullptr);
  kw_wcsntstrunc(h, nullptr);
  EXPECT_KW_ERROR(e, Err::BadPtr);
#undef EXPECT_BADPTR

  for (int n : {0, -1, -2, INT_MIN}) {
    SCOPED_TRACE(n);
    if (n != -1) {
      EXPECT_EQ(kw_full_mbtowc(h, &wc, text, n), -1);
      EXPECT_EQ(qrt_kw_full_mbtowc(h, &wc, text, n), -1);
      EXPECT_EQ(kw_full_mblen(h, text, n), -1);
      EXPECT_EQ(qrt_kw_full_mbsnext(h, text, n), nullptr);
    }
    if (n < 0) {
      EXPECT_EQ(kw_full_getmbsi(h, text, n), nullptr);
    }
    EXPECT_EQ(qrt_kw_full_mblen(h, text, n), -1);
    qrt_kw_im_mbfslen(h, text, n);
    qrt_kw_im_mbfstowcfs(h, wbuf, text, n, 4);
    qrt_kw_im_mbfstowcfs(h, wbuf, text, 2, n);
    kw_im_mbstowcs(h, wbuf, text, n);
    qrt_kw_is_mbfstowcfs(h, wbuf, text, n, 4);
    qrt_kw_is_mbfstowcfs(h, wbuf, text, 2, n);
    kw_is_mbstowcs(h, wbuf, text, n);
    wbuf[0] = 'a', wbuf[1] = 'b', wbuf[2] = 0;
    qrt_kw_full_wcstombs(h, buf, wbuf, n, 4);
    qrt_kw_full_wcstombs(h, buf, wbuf, 2, n);
    kw_full_wcstombs(h, buf, wbuf, n);
    qrt_kw_is_wcstombs(h, buf, wbuf, n, 4);
    qrt_kw_is_wcstombs(h, buf, wbuf, 2, n);
    kw_is_wcstombs(h, buf, wbuf, n);
    qrt_kw_mbsntslen(h, text, n);
    qrt_kw_mbsntsbytes(h, text, n);
    EXPECT_EQ(qrt_kw_wcsntslen(h, wbuf, n), n == 0 ? 0 : n == -1 ? 2 : -1);
    std::memcpy(buf, "ab", 3);
    EXPECT_EQ(kw_full_putmbsi(h, buf, n, "c"), n == 0 ? kw_full_putmbsi(h, buf, 0, "c") : nullptr);
  }
  e = 0;
}

TEST_F(CodecArgumentsTest, EveryFunctionSurvivesNullAndOddLengths) {
  sweep(use("eucjp").handle());
  sweep(use("8859-1").handle());
  sweep(use("unicode").handle());
  // A handle whose codec view is empty: no automaton at all.
  LocaleHead empty{};
  sweep(reinterpret_cast<kw_locale*>(&empty));
  // A null handle cannot take an error; nothing may crash.
  kw_wchar_t wc = 0;
  char buf[8] = "a";
  EXPECT_EQ(kw_full_mbtowc(nullptr, &wc, "a", 1), 0);
  EXPECT_EQ(kw_im_mbslen(nullptr, "a"), -1);
  EXPECT_EQ(kw_wcslen(nullptr), 0);
  EXPECT_EQ(kw_full_wctomb(nullptr, buf, 'a'), -1);
  EXPECT_EQ(kw_wclen(nullptr, 'a'), -1);
  EXPECT_EQ(kw_full_mbsnext(nullptr, "a"), nullptr);
  EXPECT_EQ(kw_full_mbsprev(nullptr, buf, buf + 1), nullptr);
  EXPECT_EQ(kw_mbsbytes(nullptr, "a"), 0u);
  EXPECT_EQ(kw_mbsterm(nullptr, buf), -1);
  EXPECT_EQ(kw_full_getmbsi(nullptr, "a", 0), nullptr);
  EXPECT_EQ(kw_mbsntslen(nullptr, "a"), -1);
  EXPECT_EQ(kw_mbsntstrunc(nullptr, buf), nullptr);
  kw_wcsntstrunc(nullptr, nullptr);
  qrt_kw_is_mbfstowcfs(nullptr, nullptr, nullptr, -1, 1);
}

// The terminator of the -1 forms has the shortest length, is not counted,
// and is written only when it fits whole; explicit lengths write none.
TEST_F(CodecArgumentsTest, WideToMultibyteTerminatorFitsWholeOrNotAtAll) {
  kw_locale* h = use("unicode").handle();
  const kw_wchar_t ws[] = {0x41, 0x3042, 0};
  char out[8];
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(kw_full_wcstombs(h, out, ws, 6), 4);
  EXPECT_EQ(std::string(out, 7), std::string("\0A\x30\x42\0\0x", 7));
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(kw_full_wcstombs(h, out, ws, 5), 4);
  EXPECT_EQ(std::string(out, 6), std::string("\0A\x30\x42xx", 6)) << "no half terminator";
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(kw_full_wcstombs(h, out, ws, 1), 0) << "the first value needs two bytes";
  EXPECT_EQ(out[0], 'x');
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(qrt_kw_full_wcstombs(h, out, ws, 3, 8), 6) << "under an explicit length 0 is a character";
  EXPECT_EQ(std::string(out, 7), std::string("\0A\x30\x42\0\0x", 7));
  EXPECT_EQ(qrt_kw_full_wcstombs(h, out, ws, 2, 8), 4);

  kw_locale* sb = use("8859-1").handle();
  const kw_wchar_t latin[] = {0xE9, 0x41, 0};
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(kw_is_wcstombs(sb, out, latin, 2), 2);
  EXPECT_EQ(out[2], 'x');
  EXPECT_EQ(qrt_kw_is_wcstombs(sb, out, latin, 3, 8), 3) << "the value 0 is a byte like any other";
  EXPECT_EQ(out[2], '\0');
  EXPECT_EQ(out[3], 'x');
}

// Random bytes in buffers of exactly the given length (the address
// sanitizer sees any read past them) through every length-taking decoder,
// and terminated copies through the terminated ones: results stay within
// their inputs and outputs, whatever the bytes.
TEST_F(CodecArgumentsTest, RandomBytesStayWithinTheirBuffers) {
  std::uint32_t seed = 2024;
  auto next = [&seed] { return (seed = seed * 1103515245u + 12345u) >> 8; };
  for (const char* name : {"eucjp", "unicode", "8859-1", "utf8"}) {
    SCOPED_TRACE(name);
    CodecLocale& loc = use(name);
    kw_locale* h = loc.handle();
    kw_charmap* cm = charmaps_.back();
    for (int round = 0; round < 400; ++round) {
      const std::size_t n = 1 + next() % 24;
      std::vector<char> in(n);
      // Mostly ASCII and a few lead bytes, so that long valid runs occur.
      for (char& c : in) c = static_cast<char>(next() % 4 == 0 ? 0x80 + next() % 128 : next() % 128);
      const int len = static_cast<int>(n);
      kw_wchar_t wc = 0;
      const int one = qrt_kw_full_mbtowc(h, &wc, in.data(), len);
      EXPECT_LE(one, len);
      EXPECT_LE(qrt_kw_full_mblen(h, in.data(), len), len);
      const char* after = qrt_kw_full_mbsnext(h, in.data(), len);
      EXPECT_TRUE(after == nullptr || (after > in.data() && after <= in.data() + n));
      const char* prev = kw_full_mbsprev(h, in.data(), in.data() + n);
      EXPECT_TRUE(prev == nullptr || (prev >= in.data() && prev < in.data() + n));
      const int chars = qrt_kw_im_mbfslen(h, in.data(), len);
      EXPECT_LE(chars, len);
      std::vector<kw_wchar_t> out(n);
      const int stored = qrt_kw_im_mbfstowcfs(h, out.data(), in.data(), len, len);
      EXPECT_EQ(stored, chars) << "counting and decoding agree";
      EXPECT_LE(qrt_kw_mbsntslen(h, in.data(), len), len);
      EXPECT_LE(qrt_kw_mbsntsbytes(h, in.data(), len), len);
      std::vector<char> syms(1 + next() % 64);
      EXPECT_LT(kw_mbstosyms(cm, syms.data(), static_cast<int>(syms.size()), in.data(), len),
                static_cast<int>(syms.size()));
      EXPECT_LT(kw_mbtosymlist(cm, syms.data(), static_cast<int>(syms.size()), in.data(), len),
                static_cast<int>(syms.size()));
      if (stored > 0) {
        std::vector<char> back(next() % (4 * n + 1));
        const int written = qrt_kw_full_wcstombs(h, back.data(), out.data(), stored, static_cast<int>(back.size()));
        EXPECT_LE(written, static_cast<int>(back.size()));
      }

      // The same bytes terminated (four zero bytes end any code set's string).
      std::vector<char> z(in);
      z.insert(z.end(), 4, '\0');
      const unsigned bytes = kw_mbsbytes(h, z.data());
      EXPECT_LE(bytes, n + 4);
      std::vector<kw_wchar_t> zout(n + 1);
      const int zn = kw_im_mbstowcs(h, zout.data(), z.data(), len + 1);
      EXPECT_LE(zn, len);
      EXPECT_LE(kw_mbsntslen(h, z.data()), len);
      if (zn >= 0) {
        EXPECT_EQ(kw_im_mbslen(h, z.data()), zn);
      }
      loc.error() = 0;
      cm->error = 0;
    }
  }
}

}  // namespace
}  // namespace kw::codeset
