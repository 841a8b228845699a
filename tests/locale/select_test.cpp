// Locale creation and selection: the default locale, precedence of the
// specification and the environment, the locale string and the cache.
#include <string>

#include "kwa.h"
#include "locale/locale.h"
#include "locale_test_support.h"

namespace kw::testing {
namespace {

class SelectTest : public LocaleTest {};

constexpr char kAllDefault[] =
    "KW_CTYPE = default.lco ; KW_COLLATE = default.lco ; KW_NUMERIC = default.lco ; "
    "KW_MONETARY = default.lco ; KW_TIME = default.lco ; KW_MESSAGES = default.lco ; ";

TEST_F(SelectTest, DefaultLocaleNamesDefaultObjectForEveryCategory) {
  kw_locale* h = load_default();
  EXPECT_EQ(set_locale(h, KW_ALL, nullptr), kAllDefault);
  EXPECT_EQ(kw_mb_loc_max(h), 1);
  kw_lc_unload(h);

  // With no environment, selection reads every category from default.lco.
  ASSERT_EQ(kw_create_null_locale_4(&h), 0);
  EXPECT_EQ(set_locale(h, KW_ALL, ""), kAllDefault) << error_of(h);
  kw_lc_unload(h);
}

TEST_F(SelectTest, MissingDefaultGivesTheStaticHandle) {
  set_env("KESTAVORDIR", data_dir() + "nowhere");
  kw_locale* h = nullptr;
  EXPECT_EQ(kw_createlocale_4(&h), -1);
  EXPECT_EQ(error_of(h), 8u);
  kw_lc_unload(h);  // ignored
  kw_free_nonshared_loc(h);
  EXPECT_EQ(error_of(h), 8u);
  // A directory without default.lco falls back to the search path.
  set_env("KESTAVORDIR", data_dir());
  EXPECT_EQ(kw_createlocale2_4(&h, (data_dir() + "nowhere/").c_str()), 0);
  kw_lc_unload(h);
}

TEST_F(SelectTest, EnvironmentPrecedenceIsAllThenCategoryThenLang) {
  kw_locale* h = load_default();
  set_env("KW_LANG", "en_us/0333.lco");
  EXPECT_EQ(set_locale(h, KW_TIME, ""), "en_us/0333.lco");
  set_env("KW_TIME", "default.lco");
  EXPECT_EQ(set_locale(h, KW_TIME, ""), "default.lco");
  set_env("KW_ALL", "native");
  EXPECT_EQ(set_locale(h, KW_TIME, ""), "native");  // read from default.lco
  EXPECT_EQ(item_bytes(h, 15), "January");
  kw_lc_unload(h);
}

TEST_F(SelectTest, CompositeSpecificationSelectsPerCategory) {
  kw_locale* h = load_default();
  // One category takes its own entry.
  EXPECT_EQ(set_locale(h, KW_TIME, "KW_NUMERIC = default.lco ; KW_TIME =  en_us/0333.lco ; "), "en_us/0333.lco");
  EXPECT_EQ(item_bytes(h, 66).substr(0, 6), "+:1:19");

  // With KW_ALL every category without an entry takes the whole text and
  // finds no such file.
  EXPECT_EQ(kw_setlocale_4(h, KW_ALL, "KW_TIME = en_us/0333.lco"), nullptr);
  EXPECT_EQ(error_of(h), 8u);
  kw_lc_unload(h);
}

TEST_F(SelectTest, LocaleStringSelectsTheSameNamesAgain) {
  kw_locale* h = load_default();
  set_locale(h, KW_MONETARY, "en_us/0333.lco");
  const std::string all = set_locale(h, KW_ALL, nullptr);
  kw_locale* g = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&g), 0);
  EXPECT_EQ(set_locale(g, KW_ALL, all.c_str()), all) << error_of(g);
  EXPECT_EQ(item_bytes(g, 59), "$");
  kw_lc_unload(g);
  kw_lc_unload(h);
}

TEST_F(SelectTest, SpecificationLengthAndCategoryAreChecked) {
  kw_locale* h = load_default();
  std::string spec = "KW_TIME = en_us/0333.lco";
  spec.resize(311, ' ');
  EXPECT_EQ(set_locale(h, KW_TIME, spec.c_str()), "en_us/0333.lco");
  spec.push_back(' ');
  const std::pair<int, const char*> bad[] = {{KW_TIME, spec.c_str()}, {8, "default.lco"}, {0, "default.lco"}};
  for (const auto& [category, text] : bad) {
    EXPECT_EQ(set_locale(h, category, text), "<null>") << category;
    EXPECT_EQ(error_of(h), 9u);
  }
  kw_lc_unload(h);
}

TEST_F(SelectTest, LocaleNameOfThirtyTwoCharactersIsKeptWhole) {
  kw_locale* h = load_default();
  // A 32-character name that the search path cannot find fails, but an
  // absolute path is cut to 32 bytes in the name only.
  const std::string path = data_dir() + "kwa/lc11/en_us/0333.lco";
  ASSERT_GT(path.size(), 32u);
  EXPECT_EQ(set_locale(h, KW_MESSAGES, path.c_str()), path.substr(0, 32)) << error_of(h);
  EXPECT_EQ(item_bytes(h, 71), "^[yY].*");
  kw_lc_unload(h);
}

TEST_F(SelectTest, CacheSharesLoadsAndCountsReferences) {
  kw_locale* a = nullptr;
  kw_locale* b = nullptr;
  ASSERT_EQ(kw_lc_load(&a, "en_us.8859-1", nullptr, nullptr), 0);
  ASSERT_EQ(kw_lc_load(&b, "EN_US.819", nullptr, nullptr), 0);
  EXPECT_EQ(a, b);
  EXPECT_EQ(locale::cache_size(), 1u);
  EXPECT_EQ(locale::cache_find_handle(a)->refs, 2);
  kw_lc_unload(a);
  EXPECT_EQ(locale::cache_find_handle(a)->refs, 1);
  kw_lc_unload(b);
  EXPECT_EQ(locale::cache_size(), 0u);

  // kw_free_nonshared_loc releases a cached handle through the count too.
  ASSERT_EQ(kw_lc_load(&a, "en_us.8859-1", nullptr, nullptr), 0);
  ASSERT_EQ(kw_lc_load(&b, "en_us.8859-1", nullptr, nullptr), 0);
  kw_free_nonshared_loc(a);
  EXPECT_EQ(locale::cache_find_handle(b)->refs, 1);
  EXPECT_EQ(item_bytes(b, 59), "$");
  kw_lc_unload(b);
  EXPECT_EQ(locale::cache_size(), 0u);
}

TEST_F(SelectTest, FailedLoadIsNotCached) {
  kw_locale* h = nullptr;
  EXPECT_EQ(kw_lc_load(&h, "fr_fr.8859-1", nullptr, nullptr), -1);
  EXPECT_EQ(error_of(h), 8u);
  EXPECT_EQ(locale::cache_size(), 0u);
  kw_lc_unload(h);
  // A directory: the file is looked for there only.
  EXPECT_EQ(kw_lc_load(&h, "en_us.8859-1", nullptr, (data_dir() + "kwa/lc11").c_str()), 0) << error_of(h);
  EXPECT_EQ(item_bytes(h, 59), "$");
  kw_lc_unload(h);
}

// Creation, loads of each kind of object (the single-byte fixture has every
// kind of data: classes, case pairs, elements, expansions, groupings, eras
// and alternative digits) and a load over a loaded locale, which frees and
// rebuilds what the categories own. A failed allocation in the object
// lookup, or in the code-set lookup of a specification (which then falls
// back to the text itself), reads as a missing file.
TEST_F(SelectTest, CreationAndLoadsUnderFailingAllocationsLeakNothing) {
  const struct {
    const char* what;
    int (*run)(kw_locale**);
  } ops[] = {
      {"create", [](kw_locale** h) { return kw_createlocale_4(h); }},
      {"utf8 load", [](kw_locale** h) { return kw_lc_load(h, "ja_jp.utf8", nullptr, nullptr); }},
      {"single-byte load", [](kw_locale** h) { return kw_lc_load(h, "en_us/0333.lco", nullptr, nullptr); }},
      {"reload", [](kw_locale** h) {
         if (kw_createlocale_4(h) != 0) return -1;
         char* s = kw_setlocale_4(*h, KW_ALL, "xx_yy/ea61.lco");
         kw_destroystring(s);
         return s == nullptr ? -1 : 0;
       }},
  };
  for (const auto& op : ops) {
    SCOPED_TRACE(op.what);
    for_each_failing_allocation([&] {
      kw_locale* h = nullptr;
      if (op.run(&h) != 0) {
        EXPECT_TRUE(error_of(h) == 3u || error_of(h) == 8u) << error_of(h);
      }
      kw_lc_unload(h);
      EXPECT_EQ(CountingAllocator::live(), 0u);
    });
  }
}

}  // namespace
}  // namespace kw::testing
