// SPDX-License-Identifier: MIT
#include "platform/notices/notices.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

void count(void* changes) { ++*static_cast<int*>(changes); }

class Notices : public testing::Test {
 protected:
  Notices() { setNoticeListener(count, &changes_); }
  ~Notices() override {
    setNoticeListener(nullptr, nullptr);
    setNotice(Notice::kDriverAbsent, false);
    setNotice(Notice::kHelpNotOpened, false);
  }

  int changes_ = 0;
};

TEST_F(Notices, EachIsSetAndClearedByItself) {
  setNotice(Notice::kHelpNotOpened, true);
  EXPECT_TRUE(hasNotice(Notice::kHelpNotOpened));
  EXPECT_FALSE(hasNotice(Notice::kDriverAbsent));
  setNotice(Notice::kDriverAbsent, true);
  setNotice(Notice::kHelpNotOpened, false);
  EXPECT_FALSE(hasNotice(Notice::kHelpNotOpened));
  EXPECT_TRUE(hasNotice(Notice::kDriverAbsent));
}

TEST_F(Notices, TheListenerIsCalledAtEachChangeOnly) {
  setNotice(Notice::kDriverAbsent, false);
  EXPECT_EQ(changes_, 0);
  setNotice(Notice::kDriverAbsent, true);
  setNotice(Notice::kDriverAbsent, true);
  EXPECT_EQ(changes_, 1);
  setNotice(Notice::kDriverAbsent, false);
  EXPECT_EQ(changes_, 2);
}

TEST_F(Notices, AListenerThatWasReplacedIsNotCalled) {
  int others = 0;
  setNoticeListener(count, &others);
  setNotice(Notice::kDriverAbsent, true);
  setNoticeListener(nullptr, nullptr);
  setNotice(Notice::kDriverAbsent, false);
  EXPECT_EQ(changes_, 0);
  EXPECT_EQ(others, 1);
}

TEST_F(Notices, AreSetOnAnyThread) {
  constexpr int kTimes = 1000;
  std::thread other([] {
    for (int i = 0; i < kTimes; ++i) setNotice(Notice::kDriverAbsent, i % 2 == 0);
  });
  for (int i = 0; i < kTimes; ++i) setNotice(Notice::kHelpNotOpened, i % 2 == 0);
  other.join();
  EXPECT_EQ(changes_, 2 * kTimes);
}

}  // namespace
