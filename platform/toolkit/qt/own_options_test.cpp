// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/own_options.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/toolkit/toolkit.h"

namespace {

using namespace qt_toolkit;

// The words that Qt leaves of a command line.
std::vector<std::string> leftBy(std::vector<std::string> words) {
  words.insert(words.begin(), "panel-test");
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int count = static_cast<int>(words.size());
  const QApplication application(count, arguments.data());
  return {arguments.begin() + 1, arguments.begin() + count};
}

class OwnOptions : public testing::Test {
 protected:
  OwnOptions() { setenv("QT_QPA_PLATFORM", "offscreen", 1); }
};

TEST_F(OwnOptions, QtTakesEach) {
  for (const std::string_view name : kFlags) {
    EXPECT_EQ(leftBy({"-" + std::string(name)}), std::vector<std::string>()) << name;
    EXPECT_EQ(leftBy({"--" + std::string(name)}), std::vector<std::string>()) << name;
  }
  for (const std::string_view name : kOptionsWithValue) {
    const std::string value = name == "platform" ? "offscreen" : name == "style" ? "fusion" : "1";
    EXPECT_EQ(leftBy({"-" + std::string(name), value}), std::vector<std::string>()) << name;
    EXPECT_EQ(leftBy({"--" + std::string(name), value}), std::vector<std::string>()) << name;
  }
}

// Qt takes them so from some options alone.
TEST_F(OwnOptions, QtTakesAValueAfterAnEqualsSignFromTheSame) {
  for (const auto& names : {std::span<const std::string_view>(kFlags),
                            std::span<const std::string_view>(kOptionsWithValue)}) {
    for (const std::string_view name : names) {
      const std::string word = "-" + std::string(name) + "=fusion";
      const char* words[] = {"panel", word.c_str()};
      const bool isTaken = NSApplicationForeignWord(2, words) == nullptr;
      EXPECT_EQ(leftBy({word}).empty(), isTaken) << word;
      EXPECT_EQ(leftBy({"-" + word}).empty(), isTaken) << word;
    }
  }
}

TEST_F(OwnOptions, QtPassesOverAWordThatIsNone) {
  EXPECT_EQ(leftBy({"-bogus", "word"}), (std::vector<std::string>{"-bogus", "word"}));
}

TEST_F(OwnOptions, TheFirstForeignWordIsFound) {
  const char* words[] = {"panel",    "-style", "fusion",  "-reverse", "--nograb",
                         "-display", ":1",     "--bogus", "word"};
  EXPECT_EQ(NSApplicationForeignWord(7, words), nullptr);
  EXPECT_STREQ(NSApplicationForeignWord(9, words), "--bogus");
  EXPECT_STREQ(NSApplicationForeignWord(1, words + 7), nullptr);
  EXPECT_STREQ(NSApplicationForeignWord(2, words + 7), "word");
}

TEST_F(OwnOptions, AnEqualsSignThatQtPassesOverIsForeign) {
  for (const char* word : {"--platform=nosuch", "--title=a", "-reverse=1", "-nograb=1"}) {
    const char* words[] = {"panel", word};
    EXPECT_STREQ(NSApplicationForeignWord(2, words), word);
  }
}

}  // namespace
