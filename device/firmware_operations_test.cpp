// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "device/testing/device_fixture.h"

namespace {

using testing::IsEmpty;

using Firmware = OpenDeviceTest;

TEST_F(Firmware, ReenumeratingSucceedsWhenTheDeviceLeavesInsteadOfAnswering) {
  driver.failAt(VQ_Command::kReenumerateDevice);
  EXPECT_TRUE(device->reenumerateDevice());
  EXPECT_EQ(onlyRequest().command(), VQ_Command::kReenumerateDevice);
}

TEST_F(Firmware, ReenumeratingFailsWhenTheDeviceAnswers) {
  EXPECT_FALSE(device->reenumerateDevice());
  driver.shorten(VQ_Command::kReenumerateDevice, 0);
  EXPECT_FALSE(device->reenumerateDevice());
}

TEST_F(Firmware, ReenumeratingAClosedDeviceFailsWithoutContactingTheDriver) {
  device->close();
  EXPECT_FALSE(device->reenumerateDevice());
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(Firmware, ReplugIsAVendorRequestWithoutData) {
  driver.answerWords(VQ_Command::kGetDriverVersion, {0x01050203});
  reopen();
  EXPECT_TRUE(device->replugDevice(false));
  const auto record = onlyRequest();
  EXPECT_EQ(record.command(), VQ_Command::kUsbRequest);
  VQ_Dispatch expected(VQ_Command::kUsbRequest);
  wire::store<std::uint32_t>(expected.bytes, 8, 64);
  wire::store<std::uint8_t>(expected.bytes, 16, 0x52);
  EXPECT_EQ(record.bytes, expected.bytes);
}

TEST_F(Firmware, ReplugFailsWhenTheRequestFails) {
  driver.failAt(VQ_Command::kUsbRequest);
  EXPECT_FALSE(device->replugDevice(false));
  EXPECT_FALSE(device->replugDevice(true));
  device->close();
  takeRequests();
  EXPECT_FALSE(device->replugDevice(true));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(Firmware, ReplugInTheNewLayoutIsOneRequest) {
  EXPECT_TRUE(device->replugDevice(true));
  EXPECT_EQ(onlyRequest().command(), VQ_Command::kUsbRequest);
}

}  // namespace
