// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "device/testing/device_fixture.h"

namespace {

constexpr VQ_DeviceConfiguration kWanted = {96000, 2, 24, 2, 24};
constexpr VQ_DeviceConfiguration kActual = {48000, 6, 16, 4, 16};

class Configurations : public OpenDeviceTest {
 protected:
  void answerActual(VQ_Command command) {
    driver.answerWords(command, {48000, 6, 16, 4, 16, 0xffffffff});
  }
  VQ_DeviceConfiguration received = {9, 9, 9, 9, 9};
};

TEST_F(Configurations, AConfigurationIsTheFirstFiveWords) {
  answerActual(VQ_Command::kGetConfiguration);
  EXPECT_TRUE(device->getConfiguration(1, received));
  EXPECT_EQ(received, kActual);
}

TEST_F(Configurations, TheCurrentConfigurationIsTheFirstFiveWords) {
  answerActual(VQ_Command::kGetCurrentConfiguration);
  EXPECT_TRUE(device->getCurrentConfiguration(received));
  EXPECT_EQ(received, kActual);
}

TEST_F(Configurations, SettingAConfigurationReturnsTheDevicesConfiguration) {
  answerActual(VQ_Command::kSetConfiguration);
  EXPECT_TRUE(device->setConfiguration(kWanted, received));
  EXPECT_EQ(received, kActual);
}

TEST_F(Configurations, FailuresLeaveTheRecord) {
  for (const auto command : {VQ_Command::kGetConfiguration, VQ_Command::kGetCurrentConfiguration,
                             VQ_Command::kSetConfiguration}) {
    answerActual(command);
    driver.shorten(command, 259);
  }
  EXPECT_FALSE(device->getConfiguration(1, received));
  EXPECT_FALSE(device->getCurrentConfiguration(received));
  EXPECT_FALSE(device->setConfiguration(kWanted, received));
  EXPECT_EQ(received, (VQ_DeviceConfiguration{9, 9, 9, 9, 9}));
}

TEST_F(Configurations, StreamingIsSuspendedWhenTheAnswerIsNotZero) {
  driver.answerWords(VQ_Command::kSuspendStreaming, {0, 1});
  EXPECT_FALSE(device->suspendStreaming());
  driver.answerWords(VQ_Command::kSuspendStreaming, {0x80000000});
  EXPECT_TRUE(device->suspendStreaming());
}

}  // namespace
