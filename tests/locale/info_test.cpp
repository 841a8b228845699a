// Information queries: the item table, the conventions record and the
// character lengths.
#include <string>

#include "kwa.h"
#include "locale_test_support.h"

namespace kw::testing {
namespace {

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
