// SPDX-License-Identifier: MIT
// A fixture that runs a test in a locale with a decimal comma.
//
// It compiles a locale of its own with localedef, as the system may have none with a comma.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class CommaLocale : public testing::Test {
 protected:
  void SetUp() override {
    std::string folder = std::filesystem::temp_directory_path() / "locale-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    folder_ = folder;
    std::ofstream(folder_ / "source") << "LC_NUMERIC\n"
                                         "decimal_point \",\"\n"
                                         "thousands_sep \"\"\n"
                                         "grouping -1\n"
                                         "END LC_NUMERIC\n";
    const std::string command = "localedef -c --no-archive -i '" + (folder_ / "source").string() +
                                "' '" + (folder_ / "comma").string() + "' >/dev/null 2>&1";
    // Its status is 1, as the other categories are missing; whether it worked is seen below.
    static_cast<void>(std::system(command.c_str()));
    ASSERT_EQ(setenv("LOCPATH", folder_.c_str(), 1), 0);
    if (std::setlocale(LC_NUMERIC, "comma") == nullptr) {
      GTEST_SKIP() << "localedef cannot make a locale here; the package locales is missing";
    }
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    ASSERT_STREQ(text, "1,5");
  }

  void TearDown() override {
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(folder_);
  }

 private:
  std::filesystem::path folder_;
};
