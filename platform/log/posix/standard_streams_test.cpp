// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/log/log.h"

namespace {

TEST(StandardStreams, ReceiveWhatIsPrinted) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  platform::printOutput("device %d\n", 3);
  platform::printError("no %s\n", "answer");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "device 3\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "no answer\n");
}

TEST(StandardStreams, KeepTheOrderOfOtherOutput) {
  testing::internal::CaptureStdout();
  std::puts("before");
  platform::printOutput("between\n");
  std::puts("after");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\nbetween\nafter\n");
}

}  // namespace
