// Code-set name lookup in its three states: registry file, cache, built-in table.
#include <cstring>
#include <string>

#include "locale/builtin_codesets.h"
#include "locale/registry.h"
#include "names_test_support.h"

namespace {

using kw::Err;
using kw::locale::RegistryState;
using kw::locale::registry_state;
using kw::testing::CountingAllocator;

constexpr std::uint16_t kUnknown = KW_CODESET_UNKNOWN;

const char kRegistry[] =
    "# code sets known to the tests\n"
    "  8859-1   819\n"
    "Latin-1 819 trailing words are ignored\n"
    "\n"
    "   # an indented comment between entries\n"
    "ibm-437\t437\n"
    "819 1208\n"
    "wrapped 66355\n"
    "abcdefghijklmnopqrstu 1000\n";

class RegistryFileTest : public kw::testing::RegistryTest {
 protected:
  std::uint16_t lookup(const char* name, const std::string& path) {
    return kw_cs_name2cs_num(slot_handle(), name, path.c_str());
  }
};

TEST_F(RegistryFileTest, ReadsEntriesCommentsAndFoldsCase) {
  const std::string path = write_file(kRegistry);
  EXPECT_EQ(lookup("8859-1", path), 819);
  EXPECT_EQ(lookup("LATIN-1", path), 819);
  EXPECT_EQ(lookup("IBM-437", path), 437);
  // A registry entry named "819" wins over the numeric reading of the name.
  EXPECT_EQ(lookup("819", path), 1208);
  // Numbers are accumulated in 16 bits: 66355 wraps to 819.
  EXPECT_EQ(lookup("wrapped", path), 819);
  // Query names are cut to 21 characters before comparing.
  EXPECT_EQ(lookup("ABCDEFGHIJKLMNOPQRSTUVWXYZ", path), 1000);
  EXPECT_EQ(slot_, 0u);
  EXPECT_EQ(registry_state(), RegistryState::File);
}

TEST_F(RegistryFileTest, FallsBackToNumericNames) {
  const std::string path = write_file(kRegistry);
  EXPECT_EQ(lookup("437", path), 437);
  EXPECT_EQ(lookup("65535", path), 65535);
  EXPECT_EQ(slot_, 0u);
  EXPECT_EQ(lookup("65536", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(lookup("", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(lookup("12a", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
  // The built-in table is not consulted in the file state.
  EXPECT_EQ(lookup("ascii", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
}

TEST_F(RegistryFileTest, LongNameInFileEndsReading) {
  const std::string path = write_file(
      "before 10\n"
      "abcdefghijklmnopqrstuv 20\n"
      "after 30\n");
  EXPECT_EQ(lookup("before", path), 10);
  EXPECT_EQ(lookup("after", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
}

TEST_F(RegistryFileTest, ReadsTheFileAnewOnEveryLookup) {
  const std::string path = write_file("mine 100\n");
  EXPECT_EQ(lookup("mine", path), 100);
  write_file("mine 200\n");
  EXPECT_EQ(lookup("mine", path), 200);
}

TEST_F(RegistryFileTest, MissingFileIsErrorFifteenWithoutBuiltinFallback) {
  EXPECT_EQ(lookup("ascii", missing_file()), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Format);
  EXPECT_EQ(lookup("819", missing_file()), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Format);
}

// A last entry without a newline after its number is malformed; so is every
// lookup that has to skip past it.
TEST_F(RegistryFileTest, LastEntryWithoutNewlineIsMalformed) {
  const std::string path = write_file("first 10\nlast 20");
  EXPECT_EQ(lookup("first", path), 10);
  EXPECT_EQ(lookup("last", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::BadType);
  EXPECT_EQ(lookup("other", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::BadType);
  // With the newline, the entry reads and unknown names fall through.
  write_file("first 10\nlast 20\n");
  EXPECT_EQ(lookup("last", path), 20);
  EXPECT_EQ(lookup("900", path), 900);
  EXPECT_EQ(slot_, 0u);
}

TEST_F(RegistryFileTest, MalformedNumbersAreErrorEleven) {
  const std::string path = write_file("letters abc\nreserved 57344\nfine 5\n");
  EXPECT_EQ(lookup("letters", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::BadType);
  // 0xE000 is the unknown number and cannot be assigned.
  EXPECT_EQ(lookup("reserved", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::BadType);
  EXPECT_EQ(lookup("fine", path), 5);
}

TEST_F(RegistryFileTest, NullPathSearchesTheCharmapDirectory) {
  write_file("searched 321\n");
  static std::string kw_path;
  kw_path = dir_.string();
  auto getenv_hook = +[](const char* name) -> char* {
    return std::strcmp(name, "KW_PATH") == 0 ? kw_path.data() : nullptr;
  };
  ASSERT_EQ(kw_setextfunc(nullptr, KW_EXT_GETENV, reinterpret_cast<kw_extfunc>(getenv_hook)), 0);
  EXPECT_EQ(kw_cs_name2cs_num(slot_handle(), "searched", nullptr), 321);
  EXPECT_EQ(slot_, 0u);
  std::filesystem::remove(dir_ / "registry");
  EXPECT_EQ(kw_cs_name2cs_num(slot_handle(), "searched", nullptr), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Format);
}

using RegistryCacheTest = RegistryFileTest;

TEST_F(RegistryCacheTest, CachedLookupsUseOnlyTheList) {
  const std::string path = write_file(kRegistry);
  ASSERT_EQ(kw_cache_registry(slot_handle(), path.c_str()), 0);
  EXPECT_EQ(registry_state(), RegistryState::Cached);
  std::filesystem::remove(path);
  EXPECT_EQ(lookup("latin-1", path), 819);
  EXPECT_EQ(lookup("819", path), 1208);
  EXPECT_EQ(lookup("4242", path), 4242);
  EXPECT_EQ(slot_, 0u);
  EXPECT_EQ(lookup("ascii", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
  // Freeing returns to the file state, and the file is gone.
  EXPECT_EQ(kw_free_registry_cache(), 0);
  EXPECT_EQ(registry_state(), RegistryState::File);
  EXPECT_EQ(lookup("latin-1", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Format);
}

TEST_F(RegistryCacheTest, RecachingReplacesTheList) {
  const std::string path = write_file("one 1\n");
  ASSERT_EQ(kw_cache_registry(slot_handle(), path.c_str()), 0);
  write_file("two 2\n");
  ASSERT_EQ(kw_cache_registry(slot_handle(), path.c_str()), 0);
  EXPECT_EQ(lookup("two", path), 2);
  EXPECT_EQ(lookup("one", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
}

TEST_F(RegistryCacheTest, EmptyRegistryLeavesTheFileState) {
  const std::string path = write_file("# nothing but a comment\n\n");
  ASSERT_EQ(kw_cache_registry(slot_handle(), path.c_str()), 0);
  EXPECT_EQ(registry_state(), RegistryState::File);
  write_file("later 7\n");
  EXPECT_EQ(lookup("later", path), 7);
}

TEST_F(RegistryCacheTest, FailedCachingSwitchesToTheBuiltinTable) {
  const std::string path = write_file("onlyhere 10\nbroken x\n");
  EXPECT_EQ(kw_cache_registry(slot_handle(), path.c_str()), -1);
  EXPECT_KW_ERROR(slot_, Err::BadType);
  EXPECT_EQ(registry_state(), RegistryState::Builtin);
  EXPECT_EQ(lookup("onlyhere", path), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(lookup("sjis", path), 57350);

  write_file("first 10\nlast 20");
  EXPECT_EQ(kw_cache_registry(slot_handle(), path.c_str()), -1);
  EXPECT_KW_ERROR(slot_, Err::BadType);
  EXPECT_EQ(registry_state(), RegistryState::Builtin);

  EXPECT_EQ(kw_cache_registry(slot_handle(), missing_file().c_str()), -1);
  EXPECT_KW_ERROR(slot_, Err::Format);
  EXPECT_EQ(registry_state(), RegistryState::Builtin);
  kw_free_registry_cache();
  EXPECT_EQ(registry_state(), RegistryState::File);
}

TEST_F(RegistryCacheTest, FailingAllocatorLeavesNothingAllocated) {
  const std::string path = write_file(kRegistry);
  const std::size_t runs = kw::testing::for_each_failing_allocation([&] {
    std::uint32_t slot = 0;
    if (kw_cache_registry(&slot, path.c_str()) == 0) {
      EXPECT_EQ(slot, 0u);
      EXPECT_EQ(kw_cs_name2cs_num(&slot, "ibm-437", nullptr), 437);
      kw_free_registry_cache();
    } else {
      EXPECT_EQ(slot, kw::err_number(Err::NoMem));
      EXPECT_EQ(registry_state(), RegistryState::Builtin);
      kw_free_registry_cache();
    }
    EXPECT_EQ(CountingAllocator::live(), 0u);
  });
  EXPECT_GT(runs, 1u);
}

TEST_F(RegistryCacheTest, BuiltinTableKeepsItsRowsAndOddities) {
  ASSERT_EQ(kw::locale::kBuiltinCodesets.size(), 123u);
  EXPECT_STREQ(kw::locale::kBuiltinCodesets.front().name, "ascii");
  EXPECT_STREQ(kw::locale::kBuiltinCodesets.back().name, "qa-unix-big5");

  ASSERT_EQ(kw_cache_registry(slot_handle(), missing_file().c_str()), -1);
  slot_ = 0;
  const struct {
    const char* name;
    std::uint16_t number;
  } rows[] = {
      {"ascii", 364},        {"8859-1", 819},       {"Latin-1", 819},    {"LATIN-1", 819},
      {"tchhstexsbcs", 28709}, {"ccsid28709", 29709}, {"csid933", 933},  {"greek", 737},
      {"8859-3", 57346},     {"qa-unix-big5", 57387}, {"819", 819},      {"1208", 1208},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(lookup(row.name, ""), row.number) << row.name;
  }
  EXPECT_EQ(slot_, 0u);
  // Only the misspelt form is in the table.
  EXPECT_EQ(lookup("ccsid933", ""), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
}

}  // namespace
