// Locale creation and selection: the default locale, precedence of the
// specification and the environment, the locale string and the cache.
#include <string>

#include "kwa.h"
#include "locale/locale.h"
#include "locale_test_support.h"

namespace kw::testing {
namespace {

class SelectTest : public LocaleTest {
 protected:
  std::string names(kw_locale* h) {
    char* s = kw_setlocale_4(h, KW_ALL, nullptr);
    std::string out = s != nullptr ? s : "<null>";
    kw_destroystring(s);
    return out;
  }
  std::string name(kw_locale* h, int category) {
    char* s = kw_setlocale_4(h, category, nullptr);
    std::string out = s != nullptr ? s : "<null>";
    kw_destroystring(s);
    return out;
  }
};

constexpr char kAllDefault[] =
    "KW_CTYPE = default.lco ; KW_COLLATE = default.lco ; KW_NUMERIC = default.lco ; "
    "KW_MONETARY = default.lco ; KW_TIME = default.lco ; KW_MESSAGES = default.lco ; ";

TEST_F(SelectTest, DefaultLocaleNamesDefaultObjectForEveryCategory) {
  kw_locale* h = load_default();
  EXPECT_EQ(names(h), kAllDefault);
  EXPECT_EQ(kw_mb_loc_max(h), 1);
  kw_lc_unload(h);

  // With no environment, selection reads every category from default.lco.
  ASSERT_EQ(kw_create_null_locale_4(&h), 0);
  char* s = kw_setlocale_4(h, KW_ALL, "");
  ASSERT_NE(s, nullptr) << error_of(h);
  EXPECT_STREQ(s, kAllDefault);
  kw_destroystring(s);
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
  char* s = kw_setlocale_4(h, KW_TIME, "");
  EXPECT_STREQ(s, "en_us/0333.lco");
  kw_destroystring(s);

  set_env("KW_TIME", "default.lco");
  s = kw_setlocale_4(h, KW_TIME, "");
  EXPECT_STREQ(s, "default.lco");
  kw_destroystring(s);

  set_env("KW_ALL", "native");
  s = kw_setlocale_4(h, KW_TIME, "");
  EXPECT_STREQ(s, "native");  // read from default.lco
  kw_destroystring(s);
  EXPECT_EQ(item_bytes(h, 15), "January");
  kw_lc_unload(h);
}

TEST_F(SelectTest, CompositeSpecificationSelectsPerCategory) {
  kw_locale* h = load_default();
  // One category takes its own entry.
  char* s = kw_setlocale_4(h, KW_TIME, "KW_NUMERIC = default.lco ; KW_TIME =  en_us/0333.lco ; ");
  EXPECT_STREQ(s, "en_us/0333.lco");
  kw_destroystring(s);
  EXPECT_EQ(item_bytes(h, 66).substr(0, 6), "+:1:19");

  // With KW_ALL every category without an entry takes the whole text and
  // finds no such file.
  EXPECT_EQ(kw_setlocale_4(h, KW_ALL, "KW_TIME = en_us/0333.lco"), nullptr);
  EXPECT_EQ(error_of(h), 8u);
  kw_lc_unload(h);
}

TEST_F(SelectTest, LocaleStringSelectsTheSameNamesAgain) {
  kw_locale* h = load_default();
  char* s = kw_setlocale_4(h, KW_MONETARY, "en_us/0333.lco");
  kw_destroystring(s);
  const std::string all = names(h);
  kw_locale* g = nullptr;
  ASSERT_EQ(kw_create_null_locale_4(&g), 0);
  s = kw_setlocale_4(g, KW_ALL, all.c_str());
  ASSERT_NE(s, nullptr) << error_of(g);
  EXPECT_EQ(std::string(s), all);
  kw_destroystring(s);
  EXPECT_EQ(item_bytes(g, 59), "$");
  kw_lc_unload(g);
  kw_lc_unload(h);
}

TEST_F(SelectTest, SpecificationLengthAndCategoryAreChecked) {
  kw_locale* h = load_default();
  std::string spec = "KW_TIME = en_us/0333.lco";
  spec.resize(311, ' ');
  char* s = kw_setlocale_4(h, KW_TIME, spec.c_str());
  EXPECT_STREQ(s, "en_us/0333.lco");
  kw_destroystring(s);
  spec.push_back(' ');
  EXPECT_EQ(kw_setlocale_4(h, KW_TIME, spec.c_str()), nullptr);
  EXPECT_EQ(error_of(h), 9u);
  EXPECT_EQ(kw_setlocale_4(h, 8, "default.lco"), nullptr);
  EXPECT_EQ(error_of(h), 9u);
  EXPECT_EQ(kw_setlocale_4(h, 0, "default.lco"), nullptr);
  EXPECT_EQ(error_of(h), 9u);
  kw_lc_unload(h);
}

TEST_F(SelectTest, LocaleNameOfThirtyTwoCharactersIsKeptWhole) {
  kw_locale* h = load_default();
  // A 32-character name that the search path cannot find fails, but an
  // absolute path is cut to 32 bytes in the name only.
  const std::string path = data_dir() + "kwa/lc11/en_us/0333.lco";
  ASSERT_GT(path.size(), 32u);
  char* s = kw_setlocale_4(h, KW_MESSAGES, path.c_str());
  ASSERT_NE(s, nullptr) << error_of(h);
  EXPECT_EQ(std::string(s), path.substr(0, 32));
  kw_destroystring(s);
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

TEST_F(SelectTest, CreationUnderFailingAllocationsLeaksNothing) {
  for_each_failing_allocation([&] {
    kw_locale* h = nullptr;
    const int r = kw_createlocale_4(&h);
    // A failed allocation in the object lookup reads as a missing file.
    if (r != 0) {
      EXPECT_TRUE(error_of(h) == 3u || error_of(h) == 8u) << error_of(h);
    }
    kw_lc_unload(h);
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
}

TEST_F(SelectTest, LoadUnderFailingAllocationsLeaksNothing) {
  for_each_failing_allocation([&] {
    kw_locale* h = nullptr;
    const int r = kw_lc_load(&h, "ja_jp.utf8", nullptr, nullptr);
    // The code-set lookup of the specification falls back to the text
    // itself when it cannot allocate, which names no file.
    if (r != 0) {
      EXPECT_TRUE(error_of(h) == 3u || error_of(h) == 8u) << error_of(h);
    }
    kw_lc_unload(h);
    EXPECT_EQ(CountingAllocator::live(), 0u);
  }, 20000);
}

// Loading over a loaded locale frees and rebuilds what the categories own.
TEST_F(SelectTest, ReloadUnderFailingAllocationsLeaksNothing) {
  for_each_failing_allocation([&] {
    kw_locale* h = nullptr;
    if (kw_createlocale_4(&h) == 0) {
      char* s = kw_setlocale_4(h, KW_ALL, "xx_yy/ea61.lco");
      if (s == nullptr) {
        EXPECT_TRUE(error_of(h) == 3u || error_of(h) == 8u) << error_of(h);
      }
      kw_destroystring(s);
    }
    kw_lc_unload(h);
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
}

// The single-byte fixture has every kind of data: classes, case pairs,
// elements, expansions, groupings, eras and alternative digits.
TEST_F(SelectTest, SingleByteLoadUnderFailingAllocationsLeaksNothing) {
  for_each_failing_allocation([&] {
    kw_locale* h = nullptr;
    if (kw_lc_load(&h, "en_us/0333.lco", nullptr, nullptr) != 0) {
      EXPECT_TRUE(error_of(h) == 3u || error_of(h) == 8u) << error_of(h);
    }
    kw_lc_unload(h);
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
}

}  // namespace
}  // namespace kw::testing
