// SPDX-License-Identifier: MIT
#include "settings/show_cf_obj.h"

#include <gtest/gtest.h>

#include "platform/log/memory/memory_log.h"

namespace {

class ShowCFObj : public testing::Test {
 protected:
  ShowCFObj() { memory_log::reset(); }

  static void expectLogged(const std::string& text) {
    EXPECT_EQ(memory_log::lines(),
              (std::vector<memory_log::Line>{{platform::LogPriority::kWarning, text + "\n\n"}}));
    memory_log::reset();
  }
};

TEST_F(ShowCFObj, ATextIsLoggedAsAWarningWithAnEmptyLineAfterIt) {
  showCFObj("plain");
  expectLogged("plain");
}

TEST_F(ShowCFObj, ObjectsAndPrintfsArgumentsCanBeMixed) {
  showCFObj("%d: %@ is %@ (%s, %04x, %.1f)", -1, CFValue("key"), CFValue(7), "text", 255u, 2.5);
  expectLogged("-1: key is 7 (text, 00ff, 2.5)");
}

TEST_F(ShowCFObj, EveryTypeOfObjectHasADescription) {
  showCFObj("%@ %@ %@ %@ %@", CFValue(true), CFValue(false), CFValue(0.5),
            CFValue(CFDate{"2010-01-02T03:04:05Z"}), CFValue(CFData{0x00, 0x7f, 0xff}));
  expectLogged("true false 0.5 2010-01-02T03:04:05Z <007fff>");
  showCFObj("%@ %@", CFValue(CFArray{1, "a"}), CFValue(CFDictionary{{"k", 1}, {"l", CFArray{}}}));
  expectLogged("(1, a) { k = 1; l = (); }");
}

TEST_F(ShowCFObj, APercentSignBeforeAnAtSignIsNoObject) {
  showCFObj("100%%@ %@%%", CFValue(1));
  expectLogged("100%@ 1%");
}

TEST_F(ShowCFObj, BytesThatAreNoUtf8AreQuestionMarks) {
  showCFObj("%@", CFValue("a\xffz \xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xb5"));
  expectLogged("a?z \xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xb5");
  showCFObj("%@", CFValue("\xc0\x80 \xed\xa0\x80 \xf4\x90\x80\x80 \xe2\x82"));
  expectLogged("?? ??? ???? ??");
}

}  // namespace
