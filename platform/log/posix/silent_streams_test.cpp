// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/log/log.h"

namespace {

TEST(SilentStreams, ReceiveNothing) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  platform::printOutput("device %d\n", 3);
  platform::printError("no %s\n", "answer");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
