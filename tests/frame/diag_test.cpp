// Diagnostics: the switches, the log banner and the settings file.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "fake_platform.h"
#include "frame/diag.h"
#include "frame/platform.h"
#include "test_support.h"

namespace kw::testing {
namespace {

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class DiagTest : public KwTest {
 protected:
  void SetUp() override {
    KwTest::SetUp();
    FakePlatform::install();
    log_ = scratch_log_path();
    ini_ = ::testing::TempDir() + "kwa-test-" + std::to_string(static_cast<long>(getpid())) + ".ini";
    std::remove(log_.c_str());
    std::remove(ini_.c_str());
  }
  void TearDown() override {
    std::remove(log_.c_str());
    std::remove(ini_.c_str());
    KwTest::TearDown();
  }

  void use_settings(const std::string& text) {
    std::ofstream(ini_) << text;
    kw::platform::set_paths_for_tests(log_.c_str(), ini_.c_str());
  }
  // The log lines after the start banner; "" when nothing was logged.
  std::string messages() const {
    const std::string log = slurp(log_);
    const auto end = log.rfind("----\n");
    return end == std::string::npos ? log : log.substr(end + 5);
  }

  std::string log_;
  std::string ini_;
};

TEST_F(DiagTest, LogsEachMessageAfterOneStartBanner) {
  FakePlatform::set_env("KWALOG", "on");
  kw_diag("first");
  kw::frame::diagf("Opened: %s", "x/y");
  const std::string log = slurp(log_);
  static const std::regex kExpected(
      "----\nKWA log started (Sun|Mon|Tue|Wed|Thu|Fri|Sat) "
      "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 123][0-9] "
      "[0-2][0-9]:[0-5][0-9]:[0-6][0-9] [0-9]{4}\n----\nfirst\nOpened: x/y\n");
  EXPECT_TRUE(std::regex_match(log, kExpected)) << log;
}

// Whether a message is logged and shown, from KWALOG, KWADEBUG and the
// settings file: only the first character of a switch is folded, and a
// value in the settings file wins over the environment unless it is empty.
TEST_F(DiagTest, SwitchesFromEnvironmentAndSettings) {
  const struct {
    const char* log_env;
    const char* debug_env;
    const char* settings;
    bool logs, shows;
  } rows[] = {
      {"on", nullptr, "", true, false},
      {"On", nullptr, "", true, false},
      {"only", nullptr, "", true, false},
      {"ON", nullptr, "", false, false},
      {"oN", nullptr, "", false, false},
      {"off", nullptr, "", false, false},
      {"o", nullptr, "", false, false},
      {"", nullptr, "", false, false},
      {" on", nullptr, "", false, false},
      {nullptr, "ON", "", false, false},
      {nullptr, "On", "", false, true},
      {"on", "on", "[KWA]\nLogging=off\nPopups=no\n", false, false},
      {nullptr, nullptr, "; comment\n[Other]\nLogging=off\n[ kwa ]\n  LOGGING =  \"on\"  \n", true, false},
      {"on", nullptr, "[KWA]\nLogging=\n", true, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.log_env ? row.log_env : "-") + " / " + (row.debug_env ? row.debug_env : "-") +
                 " / " + row.settings);
    kw::frame::reset_diag_for_tests();
    std::remove(log_.c_str());
    FakePlatform::install();
    if (row.log_env != nullptr) FakePlatform::set_env("KWALOG", row.log_env);
    if (row.debug_env != nullptr) FakePlatform::set_env("KWADEBUG", row.debug_env);
    use_settings(row.settings);
    ::testing::internal::CaptureStderr();
    kw_diag("probe");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), row.shows ? "KWA: probe\n" : "");
    EXPECT_EQ(messages(), row.logs ? "probe\n" : "");
  }
}

TEST_F(DiagTest, SwitchesAreReadOnlyOnce) {
  kw_diag("before");
  FakePlatform::set_env("KWALOG", "on");
  kw_diag("ignored");
  EXPECT_EQ(slurp(log_), "");
  kw::frame::reset_diag_for_tests();
  kw_diag("after");
  EXPECT_EQ(messages(), "after\n");
}

TEST_F(DiagTest, UnwritableLogIsSilent) {
  FakePlatform::set_env("KWALOG", "on");
  kw::platform::set_paths_for_tests("/nonexistent-dir/kwa.log", "");
  kw_diag("lost");
  kw_diag(nullptr);
  SUCCEED();
}

class SettingsReaderTest : public DiagTest {
 protected:
  std::string read(const char* key, std::size_t size = 10) {
    char buf[64];
    std::fill(std::begin(buf), std::end(buf), '#');
    kw::platform::read_setting("KWA", key, buf, size);
    EXPECT_EQ(buf[size], '#') << "wrote past the buffer";
    return buf;
  }
};

TEST_F(SettingsReaderTest, ReadsFirstValueOfFirstMatchingSectionWithinBuffer) {
  use_settings(
      "[KWA]\r\nLogging = a value longer than nine\r\nlogging=second\r\nQuoted='x y'\r\n"
      "Half=\"x\r\n[KWA]\r\nLater=1\r\n");
  EXPECT_EQ(read("Logging"), "a value l");
  EXPECT_EQ(read("Logging", 3), "a ");
  EXPECT_EQ(read("quoted"), "x y");
  EXPECT_EQ(read("Half"), "\"x");
  EXPECT_EQ(read("Later"), "");
  EXPECT_EQ(read("Missing"), "");
  kw::platform::set_paths_for_tests(log_.c_str(), (ini_ + ".none").c_str());
  EXPECT_EQ(read("Logging"), "");
}

}  // namespace
}  // namespace kw::testing
