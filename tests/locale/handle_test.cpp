// The locale handle: null locales and categories, copying and freeing,
// the static handles and the freeing log line; the information queries
// (the item table, the conventions record).
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "kwa.h"
#include "locale/locale.h"
#include "locale_test_support.h"

namespace kw::testing {
namespace {

class HandleTest : public LocaleTest {};

TEST_F(HandleTest, NullLocaleHasEmptyCategoriesThatCannotBeCopied) {
  kw_locale* h = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&h), 0);
  EXPECT_EQ(error_of(h), 0u);
  for (int c = KW_CTYPE; c <= KW_MESSAGES; ++c) EXPECT_TRUE(locale::category_empty(*h, c));
  EXPECT_DOUBLE_EQ(h->ctype_expansion, 1.0);
  EXPECT_DOUBLE_EQ(h->max_coll_expansion, 4.0);
  EXPECT_EQ(h->p_sign_posn, 0x7FFFFFFF);
  EXPECT_EQ(kw_mb_loc_max(h), 0);
  EXPECT_EQ(kw_mb_loc_min(h), 4);

  kw_locale* g = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&g), 0);
  EXPECT_EQ(kw_copy_cat(g, h, KW_NUMERIC), -1);
  EXPECT_EQ(error_of(g), 18u);
  kw_lc_unload(g);
  kw_lc_unload(h);
}

TEST_F(HandleTest, CopyChecksEveryCategoryBeforeChangingAny) {
  kw_locale* src = load_default();
  kw_locale* dst = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&dst), 0);
  char* s = kw_setlocale_4(dst, KW_CTYPE, "en_us/0333.lco");
  ASSERT_NE(s, nullptr);
  kw_destroystring(s);
  codeset::Automaton* before = dst->ctype;
  EXPECT_EQ(kw_copy_cat(dst, src, KW_ALL), -1);
  EXPECT_EQ(error_of(dst), 19u);
  EXPECT_EQ(dst->ctype, before);
  EXPECT_TRUE(locale::category_empty(*dst, KW_TIME));
  kw_lc_unload(dst);
  kw_lc_unload(src);
}

TEST_F(HandleTest, CopiedCategoriesShareDataThatOutlivesTheCopy) {
  kw_locale* src = nullptr;
  ASSERT_EQ(kw_lc_load(&src, "en_us.8859-1", nullptr, nullptr), 0);
  kw_locale* dst = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&dst), 0);
  for (int c = KW_CTYPE; c <= KW_MESSAGES; ++c) kw_free_category(dst, c);
  ASSERT_EQ(kw_copy_cat(dst, src, KW_ALL), 0) << error_of(dst);
  EXPECT_EQ(dst->ctype, src->ctype);
  EXPECT_EQ(dst->head.codec.automaton, src->ctype);
  EXPECT_EQ(kw_nl_langinfo(dst, 15), kw_nl_langinfo(src, 15));
  // Owned by each handle: conventions, derived TIME strings, byte tables.
  EXPECT_NE(kw_localeconv(dst)->currency_symbol, kw_localeconv(src)->currency_symbol);
  EXPECT_STREQ(kw_localeconv(dst)->currency_symbol, "$");
  EXPECT_NE(kw_nl_langinfo(dst, 70), kw_nl_langinfo(src, 70));
  EXPECT_EQ(item_bytes(dst, 70), "zero;one;two");
  EXPECT_NE(dst->sb_upper, src->sb_upper);
  EXPECT_EQ(dst->single_byte, 1u);
  kw_free_nonshared_loc(dst);
  EXPECT_EQ(item_bytes(src, 15), "January");
  kw_lc_unload(src);
}

TEST_F(HandleTest, CopyFromAnotherCodeSetIsKeptWithError12) {
  kw_locale* src = nullptr;
  ASSERT_EQ(kw_lc_load(&src, "xx_yy.twobyte", nullptr, nullptr), 0);
  kw_locale* dst = load_default();
  kw_free_category(dst, KW_MONETARY);
  EXPECT_EQ(kw_copy_cat(dst, src, KW_MONETARY), 0);
  EXPECT_EQ(error_of(dst), 12u);
  EXPECT_EQ(kw_nl_langinfo(dst, 59), kw_nl_langinfo(src, 59));
  // dst owns its other categories: free them, then the record alone.
  for (int c : {KW_CTYPE, KW_COLLATE, KW_NUMERIC, KW_TIME, KW_MESSAGES}) kw_free_category(dst, c);
  kw_free_nonshared_loc(dst);
  kw_lc_unload(src);
}

TEST_F(HandleTest, StaticHandlesAreNeverFreed) {
  kw_locale* h = nullptr;
  set_env("KESTAVORDIR", data_dir() + "nowhere");
  EXPECT_EQ(kw_createlocale_4(&h), -1);
  kw_lc_unload(h);
  kw_free_nonshared_loc(h);
  kw_free_category(h, KW_CTYPE);
  EXPECT_EQ(error_of(h), 8u);
  EXPECT_EQ(kw_nl_langinfo(h, 1), nullptr);
  EXPECT_EQ(kw_mb_loc_max(h), 0);
  kw_lc_unload(nullptr);
  kw_free_nonshared_loc(nullptr);

  CountingAllocator::install(1);
  EXPECT_EQ(kw_create_null_locale_4(&h), -1);
  CountingAllocator::uninstall();
  EXPECT_EQ(error_of(h), 3u);
  kw_lc_unload(h);
}

TEST_F(HandleTest, MakeNullCategoryResetsFieldsAndNames) {
  kw_locale* h = load_default();
  kw_free_category(h, KW_MONETARY);
  kw_make_null_category(h, KW_MONETARY);
  EXPECT_TRUE(locale::category_empty(*h, KW_MONETARY));
  EXPECT_EQ(h->int_frac_digits, 0x7FFFFFFF);
  EXPECT_EQ(kw_localeconv(h)->currency_symbol, nullptr);
  EXPECT_EQ(kw_nl_langinfo(h, 59), nullptr);
  kw_free_category(h, KW_CTYPE);
  kw_make_null_category(h, KW_CTYPE);
  EXPECT_EQ(h->sb_class, nullptr);
  ASSERT_NE(h->ctype, nullptr);
  EXPECT_EQ(h->ctype->longest, 0u);
  kw_lc_unload(h);
}

TEST_F(HandleTest, FreeingWritesTheLogLine) {
  kw_locale* h = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&h), 0);
  char expected[64];
  std::snprintf(expected, sizeof expected, "freeing locale 0x%" PRIxPTR "\n", reinterpret_cast<std::uintptr_t>(h));
  kw_lc_unload(h);
  EXPECT_NE(log_text().find(expected), std::string::npos) << log_text();
}

TEST_F(HandleTest, CopyUnderFailingAllocationsLeaksNothing) {
  kw_locale* src = nullptr;
  ASSERT_EQ(kw_lc_load(&src, "en_us/0333.lco", nullptr, nullptr), 0) << error_of(src);
  for_each_failing_allocation([&] {
    kw_locale* g = nullptr;
    if (kw_create_null_locale_4(&g) != 0 || error_of(g) != 0) {
      kw_lc_unload(g);  // owns its null categories
    } else {
      if (kw_copy_cat(g, src, KW_ALL) != 0) {
        EXPECT_EQ(error_of(g), 3u);
      }
      kw_free_nonshared_loc(g);
    }
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
  kw_lc_unload(src);
}

std::uint32_t g_redirected_slot = 0;
std::uint32_t* KW_CALL redirected_errno(void*) { return &g_redirected_slot; }

// Regression: creation wrote the handle's first word directly, so an error
// hook on slot 1 never saw the cleared slot or a failed automaton's 3. The
// sweep also checks that no failure leaks a block.
TEST_F(HandleTest, NullLocaleReportsThroughTheErrorHookAndLeaksNothing) {
  kw_setextfunc(nullptr, KW_EXT_ERRNO, reinterpret_cast<kw_extfunc>(&redirected_errno));
  std::size_t run = 0;
  bool saw_automaton_failure = false;
  for_each_failing_allocation([&] {
    ++run;
    g_redirected_slot = 99;
    kw_locale* h = nullptr;
    const int r = kw_create_null_locale_4(&h);
    const bool failed = CountingAllocator::calls() >= run;
    if (r != 0) {
      EXPECT_TRUE(locale::is_static_handle(h));
    } else if (failed) {
      // The record exists but an automaton could not be made.
      saw_automaton_failure = true;
      EXPECT_EQ(g_redirected_slot, 3u);
      EXPECT_EQ(h->head.error, 0u);
    } else {
      EXPECT_EQ(g_redirected_slot, 0u);
    }
    kw_lc_unload(h);
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
  EXPECT_TRUE(saw_automaton_failure);
}

// The information queries.
class InfoTest : public LocaleTest {};

TEST_F(InfoTest, NullLocaleAnswersNullEverywhere) {
  kw_locale* h = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&h), 0);
  for (int item = 0; item <= 73; ++item) {
    if ((item >= 15 && item <= 54)) continue;  // month items report error 9
    EXPECT_EQ(kw_nl_langinfo(h, item) == nullptr || item == 60, true) << item;
    EXPECT_EQ(kw_wc_nl_langinfo(h, item) == nullptr || item == 60, true) << item;
  }
  EXPECT_EQ(item_bytes(h, 60), "");
  EXPECT_EQ(error_of(h), 0u);
  EXPECT_EQ(kw_nl_langinfo(h, 15), nullptr);
  EXPECT_EQ(error_of(h), 9u);
  const kw_lconv* c = kw_localeconv(h);
  EXPECT_EQ(c->decimal_point, nullptr);
  EXPECT_EQ(c->wcurrency_symbol, nullptr);
  EXPECT_EQ(c->grouping, nullptr);
  kw_lc_unload(h);
}

TEST_F(InfoTest, MonthItemsStopAtTheSetsCount) {
  kw_locale* h = load_default();
  EXPECT_EQ(item_bytes(h, 26), "December");
  EXPECT_EQ(item_bytes(h, 46), "Dec");
  EXPECT_EQ(error_of(h), 0u);
  EXPECT_EQ(kw_nl_langinfo(h, 34), nullptr);
  EXPECT_EQ(error_of(h), 9u);
  *kw_ext_errno(h) = 0;
  EXPECT_EQ(kw_wc_nl_langinfo(h, 47), nullptr);
  EXPECT_EQ(error_of(h), 9u);
  *kw_ext_errno(h) = 0;
  EXPECT_EQ(kw_nl_langinfo(h, 74), nullptr);
  EXPECT_EQ(kw_wc_nl_langinfo(h, 74), nullptr);
  EXPECT_EQ(kw_nl_langinfo(h, -1), nullptr);
  EXPECT_EQ(error_of(h), 0u);
  kw_lc_unload(h);
}

TEST_F(InfoTest, DefaultLocaleItemsAndTheirWideForms) {
  kw_locale* h = load_default();
  EXPECT_EQ(item_bytes(h, 0), "%a %b %e %H:%M:%S %Y");
  EXPECT_EQ(item_bytes(h, 1), "Sunday");
  EXPECT_EQ(item_bytes(h, 14), "Sat");
  EXPECT_EQ(item_bytes(h, 55), ".");
  EXPECT_EQ(item_bytes(h, 56), "");
  EXPECT_NE(kw_nl_langinfo(h, 56), nullptr);  // empty, not absent
  EXPECT_EQ(item_bytes(h, 57), "yes");
  EXPECT_EQ(item_bytes(h, 60), "8859-1");
  EXPECT_EQ(item_bytes(h, 61), "%m/%d/%y");
  EXPECT_EQ(item_bytes(h, 62), "%H:%M:%S");
  EXPECT_EQ(item_bytes(h, 63), "%I:%M:%S %p");
  EXPECT_EQ(item_bytes(h, 64), "AM");
  EXPECT_EQ(item_bytes(h, 65), "PM");
  EXPECT_EQ(kw_nl_langinfo(h, 66), nullptr);  // no eras
  EXPECT_EQ(item_bytes(h, 72), "^[nN]");
  EXPECT_STREQ(kw_nl_langinfo(h, 73), "gregorian\n");
  for (int item = 0; item <= 73; ++item) {
    const std::string s = item_bytes(h, item);
    const std::vector<kw_wchar_t> w = item_wide(h, item);
    ASSERT_EQ(w.size(), s.size()) << item;
    for (std::size_t i = 0; i < s.size(); ++i) EXPECT_EQ(w[i], static_cast<unsigned char>(s[i])) << item;
  }
  kw_lc_unload(h);
}

TEST_F(InfoTest, ConventionsRecordMarksUnavailableNumbersAs127) {
  kw_locale* h = load_default();
  const kw_lconv* c = kw_localeconv(h);
  EXPECT_STREQ(c->decimal_point, ".");
  EXPECT_EQ(c->wdecimal_point[0], static_cast<kw_wchar_t>('.'));
  EXPECT_EQ(c->grouping, nullptr);  // count 0
  EXPECT_STREQ(c->num_negative_sign, "-");
  EXPECT_STREQ(c->currency_symbol, "");
  EXPECT_EQ(c->int_frac_digits, 127);
  EXPECT_EQ(c->n_sign_posn, 127);
  kw_lc_unload(h);
}

}  // namespace
}  // namespace kw::testing
