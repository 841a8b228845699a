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

// Lookups in the file state: each row names a registry text, the name
// looked up, the number found and the error stored.
TEST_F(RegistryFileTest, LooksUpNamesInTheFile) {
  const struct {
    const char* registry;
    const char* name;
    std::uint16_t number;
    Err err;
  } rows[] = {
      {kRegistry, "8859-1", 819, Err::None},
      {kRegistry, "LATIN-1", 819, Err::None},  // case is folded
      {kRegistry, "IBM-437", 437, Err::None},
      {kRegistry, "819", 1208, Err::None},     // an entry wins over the numeric reading
      {kRegistry, "wrapped", 819, Err::None},  // numbers are accumulated in 16 bits
      {kRegistry, "ABCDEFGHIJKLMNOPQRSTUVWXYZ", 1000, Err::None},  // cut to 21 characters
      // Names not in the file fall back to their numeric reading.
      {kRegistry, "437", 437, Err::None},
      {kRegistry, "65535", 65535, Err::None},
      {kRegistry, "65536", kUnknown, Err::Short},
      {kRegistry, "", kUnknown, Err::Short},
      {kRegistry, "12a", kUnknown, Err::Short},
      {kRegistry, "ascii", kUnknown, Err::Short},  // the built-in table is not consulted
      // A name longer than 21 characters in the file ends the reading.
      {"before 10\nabcdefghijklmnopqrstuv 20\nafter 30\n", "before", 10, Err::None},
      {"before 10\nabcdefghijklmnopqrstuv 20\nafter 30\n", "after", kUnknown, Err::Short},
      // A last entry without a newline after its number is malformed; so is
      // every lookup that has to skip past it.
      {"first 10\nlast 20", "first", 10, Err::None},
      {"first 10\nlast 20", "last", kUnknown, Err::BadType},
      {"first 10\nlast 20", "other", kUnknown, Err::BadType},
      {"first 10\nlast 20\n", "last", 20, Err::None},
      {"first 10\nlast 20\n", "900", 900, Err::None},
      // Malformed numbers; 0xE000 is the unknown number and cannot be assigned.
      {"letters abc\nreserved 57344\nfine 5\n", "letters", kUnknown, Err::BadType},
      {"letters abc\nreserved 57344\nfine 5\n", "reserved", kUnknown, Err::BadType},
      {"letters abc\nreserved 57344\nfine 5\n", "fine", 5, Err::None},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(lookup(row.name, write_file(row.registry)), row.number);
    EXPECT_KW_ERROR(slot_, row.err);
  }
  EXPECT_EQ(registry_state(), RegistryState::File);
  // A missing file is an error of its own, without a built-in fallback.
  for (const char* name : {"ascii", "819"}) {
    EXPECT_EQ(lookup(name, missing_file()), kUnknown);
    EXPECT_KW_ERROR(slot_, Err::Format);
  }
}

TEST_F(RegistryFileTest, ReadsTheFileAnewOnEveryLookup) {
  const std::string path = write_file("mine 100\n");
  EXPECT_EQ(lookup("mine", path), 100);
  write_file("mine 200\n");
  EXPECT_EQ(lookup("mine", path), 200);
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
