// Object file lookup: search order, absolute names, length limits and the
// directory marker of locale file names.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "frame/diag.h"
#include "frame/lookup.h"
#include "frame/platform.h"
#include "test_support.h"

namespace kw::testing {
namespace {

using Paths = std::vector<std::string>;

class LookupTest : public KwTest {
 protected:
  void SetUp() override {
    KwTest::SetUp();
    FakePlatform::install();
  }

  // Runs a lookup through the hooks; returns the paths tried.
  Paths find(const char* name, const char* kind = "cm", const char* version = "3") {
    FakePlatform::opened().clear();
    std::FILE* f = kw_find_object(slot_handle(), name, kind, version, 0);
    found_ = f != nullptr;
    if (f != nullptr) std::fclose(f);
    return FakePlatform::opened();
  }

  bool found_ = false;
};

// KW_PATH, when set and not empty, is the whole search: its non-empty
// elements in order, up to the first that opens, read from its first 1024
// characters. Otherwise the install directory (KESTAVORDIR, else the
// default) is tried with the versioned and then the plain kind directory,
// a separator added even after one that ends the value.
TEST_F(LookupTest, SearchOrderOfThePathAndTheInstallDirectory) {
  const std::string base = std::string(kw::platform::default_install_dir()) + "kwa/";
  const struct {
    std::string kw_path, install_dir, file, name, kind, version;
    Paths tried;
  } rows[] = {
      {"a;;b;", "/opt/k", "", "0333.cmo", "cm", "3", {"a/0333.cmo", "b/0333.cmo"}},
      {"a;b/;c", "", "b//x.lco", "x.lco", "cm", "3", {"a/x.lco", "b//x.lco"}},
      {std::string(1023, ';') + "ab;c", "", "", "n", "cm", "3", {"a/n"}},
      {"", "/opt/k", "", "0333.cmo", "cm", "3", {"/opt/k/kwa/cm3/0333.cmo", "/opt/k/kwa/cm/0333.cmo"}},
      {"", "/opt/k/", "/opt/k//kwa/lc/en.lco", "en.lco", "lc", "11",
       {"/opt/k//kwa/lc11/en.lco", "/opt/k//kwa/lc/en.lco"}},
      {"", "", "", "ab.cvo", "cv", "9", {base + "cv9/ab.cvo", base + "cv/ab.cvo"}},  // empty is unset
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.kw_path.substr(0, 12) + " | " + row.install_dir + " | " + row.name);
    FakePlatform::install();
    FakePlatform::set_env("KW_PATH", row.kw_path);
    FakePlatform::set_env("KESTAVORDIR", row.install_dir);
    if (!row.file.empty()) FakePlatform::add_file(row.file);
    EXPECT_EQ(find(row.name.c_str(), row.kind.c_str(), row.version.c_str()), row.tried);
    EXPECT_EQ(found_, !row.file.empty());
    EXPECT_KW_ERROR(slot_, row.file.empty() ? Err::NoFile : Err::None);
  }
}

TEST_F(LookupTest, AbsoluteNamesAreOpenedAsGiven) {
  FakePlatform::set_env("KW_PATH", "a");
  for (const char* name : {"/foo", "\\foo", "c:\\foo", "C:/foo", "z:/"}) {
    EXPECT_EQ(find(name), (Paths{name})) << name;
    EXPECT_KW_ERROR(slot_, Err::NoFile);
  }
  for (const char* name : {"c:foo", "1:/foo", ":/foo"}) {
    EXPECT_EQ(find(name), (Paths{std::string("a/") + name})) << name;
    EXPECT_KW_ERROR(slot_, Err::NoFile);
  }
}

// A path buffer holds 1024 bytes: 1023 characters and the terminator fit,
// anything longer is refused without an open attempt.
TEST_F(LookupTest, RefusesPathsLongerThanTheBufferWithoutOpening) {
  const std::string too_long = std::string("/").append(1023, 'x');
  EXPECT_EQ(find(too_long.c_str()), Paths{});
  EXPECT_KW_ERROR(slot_, Err::NoFile);
  const std::string longest = std::string("/").append(1022, 'x');
  EXPECT_EQ(find(longest.c_str()), Paths{longest});
  EXPECT_KW_ERROR(slot_, Err::NoFile);

  // The same limit for built paths: element + separator + name.
  FakePlatform::set_env("KW_PATH", std::string(1020, 'd') + ";e");
  EXPECT_EQ(find("abc"), (Paths{"e/abc"}));
  EXPECT_KW_ERROR(slot_, Err::NoFile);
  FakePlatform::set_env("KW_PATH", std::string(1020, 'd'));
  EXPECT_EQ(find("ab").size(), 1u);
  EXPECT_EQ(find("abc"), Paths{});
  EXPECT_KW_ERROR(slot_, Err::NoFile);
}

TEST_F(LookupTest, FailureWithoutHandleStoresNothing) {
  FakePlatform::set_env("KW_PATH", "a");
  EXPECT_EQ(kw_find_object(nullptr, "x", "cm", "3", 0), nullptr);
  EXPECT_EQ(kw_find_object(slot_handle(), nullptr, "cm", "3", 0), nullptr);
  EXPECT_KW_ERROR(slot_, Err::NoFile);
  EXPECT_EQ(kw_open_escaped(nullptr, "missing"), nullptr);
}

TEST_F(LookupTest, DirectOpenBypassesTheFopenHook) {
  const std::string dir = ::testing::TempDir();
  const std::string name = "kwa-direct-" + std::to_string(static_cast<long>(getpid()));
  { std::ofstream(dir + "/" + name) << "x"; }
  FakePlatform::set_env("KW_PATH", dir);
  std::FILE* f = kw_find_object(slot_handle(), name.c_str(), "cm", "3", 1);
  EXPECT_NE(f, nullptr);
  if (f != nullptr) std::fclose(f);
  EXPECT_TRUE(FakePlatform::opened().empty());
  EXPECT_EQ(find(name.c_str()).size(), 1u);  // through the hook, which does not know it
  EXPECT_KW_ERROR(slot_, Err::NoFile);
  std::remove((dir + "/" + name).c_str());
}

TEST_F(LookupTest, DirectoryMarkerBecomesOneSeparator) {
  FakePlatform::set_env("KW_PATH", "a");
  FakePlatform::add_file("dir/en_us/0333.lco");
  EXPECT_EQ(find("dir\xff"
                 "en_us/0333.lco"),
            (Paths{"dir/en_us/0333.lco"}));
  EXPECT_TRUE(found_);
  EXPECT_EQ(find("dir/\xff"
                 "en_us/0333.lco"),
            (Paths{"dir/en_us/0333.lco"}));
  EXPECT_TRUE(found_);
  EXPECT_EQ(slot_, 0u);

  FakePlatform::opened().clear();
  EXPECT_EQ(kw_open_escaped(slot_handle(),
                            "\xff"
                            "x\xff\xff"
                            "y"),
            nullptr);
  EXPECT_EQ(FakePlatform::opened(), (Paths{"/x/y"}));
  EXPECT_KW_ERROR(slot_, Err::NoFile);

  FakePlatform::opened().clear();
  const std::string too_long = std::string(1022, 'd') + "\xff" + "n";
  EXPECT_EQ(kw_open_escaped(slot_handle(), too_long.c_str()), nullptr);
  EXPECT_TRUE(FakePlatform::opened().empty());
  EXPECT_KW_ERROR(slot_, Err::NoFile);
  const std::string longest = std::string(1021, 'd') + "\xff" + "n";
  EXPECT_EQ(kw_open_escaped(slot_handle(), longest.c_str()), nullptr);
  EXPECT_EQ(FakePlatform::opened(), (Paths{std::string(1021, 'd') + "/n"}));
  EXPECT_KW_ERROR(slot_, Err::NoFile);
}

// Collects what visit_search_dirs reports.
bool collect_dir(void* context, const char* dir, bool fits) noexcept {
  static_cast<Paths*>(context)->push_back(std::string(dir) + (fits ? "" : " (cut)"));
  return false;
}

TEST_F(LookupTest, SearchDirectoriesMatchTheLookupOrder) {
  Paths dirs;
  FakePlatform::set_env("KESTAVORDIR", "/k");
  kw::frame::visit_search_dirs("cm", "3", &collect_dir, &dirs);
  EXPECT_EQ(dirs, (Paths{"/k/kwa/cm3/", "/k/kwa/cm/"}));
  dirs.clear();
  FakePlatform::set_env("KW_PATH", "x;" + std::string(1021, 'y'));
  kw::frame::visit_search_dirs("cm", "3", &collect_dir, &dirs);
  EXPECT_EQ(dirs, (Paths{"x/", std::string(1021, 'y') + "/"}));
  dirs.clear();
  FakePlatform::set_env("KW_PATH", std::string(1023, 'z'));
  kw::frame::visit_search_dirs("cm", "3", &collect_dir, &dirs);
  EXPECT_EQ(dirs, (Paths{std::string(1023, 'z') + " (cut)"}));
}

// Reads a whole file; empty when it is missing.
std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST_F(LookupTest, EveryAttemptIsReported) {
  std::remove(scratch_log_path().c_str());
  FakePlatform::set_env("KWALOG", "on");
  FakePlatform::set_env("KW_PATH", "a;b");
  FakePlatform::add_file("b/x");
  find("x");
  find("y");
  find("/abs");
  const std::string log = slurp(scratch_log_path());
  const std::string messages = log.substr(log.rfind("----\n") + 5);
  EXPECT_EQ(messages,
            "Could not open: a/x\nOpened: b/x\n"
            "Could not open: a/y\nCould not open: b/y\nCould not open: y\n"
            "Could not open: /abs\nCould not open: /abs\n");
  std::remove(scratch_log_path().c_str());
}

}  // namespace
}  // namespace kw::testing
