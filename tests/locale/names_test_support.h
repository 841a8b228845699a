// Temporary registry files for the code-set name and specification tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "support/test_support.h"

namespace kw::testing {

// A fresh directory under the system temporary directory, removed with the
// fixture. Registry files are written into it.
class RegistryTest : public KwTest {
 protected:
  void SetUp() override {
    KwTest::SetUp();
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = std::filesystem::temp_directory_path() /
           (std::string("kwa_names_") + info->test_suite_name() + "_" + info->name() + "_" +
            std::to_string(::getpid()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override {
    KwTest::TearDown();
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }

  // Writes `text` to the file `name` in the directory; returns its path.
  std::string write_file(const std::string& text, const std::string& name = "registry") {
    const std::filesystem::path p = dir_ / name;
    std::ofstream(p, std::ios::binary | std::ios::trunc) << text;
    return p.string();
  }
  std::string missing_file() const { return (dir_ / "no-such-registry").string(); }

  std::filesystem::path dir_;
};

}  // namespace kw::testing
