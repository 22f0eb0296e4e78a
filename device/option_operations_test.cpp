// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>

#include "device/testing/device_fixture.h"

namespace {

using Options = OpenDeviceTest;

TEST_F(Options, AClockSourceIsPossibleOnlyForAnAnswerOfExactly1) {
  for (const std::uint32_t answer : {0u, 1u, 2u, 0x101u, 0xffffffffu}) {
    driver.answerWords(VQ_Command::kCanClockSource, {answer});
    EXPECT_EQ(device->canClockSource(VQE_ClockSource{2}), answer == 1) << answer;
  }
}

TEST_F(Options, APossibleClockSourceIsAskedForByItsValue) {
  device->canClockSource(VQE_ClockSource{-7});
  const auto record = onlyRequest();
  EXPECT_EQ(record.command(), VQ_Command::kCanClockSource);
  EXPECT_EQ(record.word(0), 0xfffffff9u);
}

TEST_F(Options, NoClockSourceIsPossibleWithoutAFullAnswer) {
  driver.answerWords(VQ_Command::kCanClockSource, {1});
  driver.shorten(VQ_Command::kCanClockSource, 259);
  EXPECT_FALSE(device->canClockSource(VQE_ClockSource{1}));
  driver.failAt(VQ_Command::kCanClockSource);
  EXPECT_FALSE(device->canClockSource(VQE_ClockSource{1}));
  device->close();
  EXPECT_FALSE(device->canClockSource(VQE_ClockSource{1}));
}

TEST_F(Options, EveryValuePassesUnchanged) {
  for (const std::int32_t value : {0, 1, 2, -2, std::numeric_limits<std::int32_t>::min(),
                                   std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_EQ(device->setClockSource(VQE_ClockSource{value}), value);
    EXPECT_EQ(device->setUSB1Mode(VQE_USB1Mode{value}), value);
    EXPECT_EQ(device->setDigitalOutMode(VQE_DigitalOutMode{value}), value);
  }
}

TEST_F(Options, TheDigitalStatusIsLockStateAndRate) {
  driver.answerWords(VQ_Command::kGetDigitalStatus, {2, 44100});
  VQ_DigitalStatus status;
  EXPECT_TRUE(device->getDigitalStatus(status));
  EXPECT_EQ(status, (VQ_DigitalStatus{.lockState = 2, .rate = 44100}));
}

TEST_F(Options, AFailedDigitalStatusLeavesTheRecord) {
  driver.failAt(VQ_Command::kGetDigitalStatus);
  VQ_DigitalStatus status = {3, 96000};
  EXPECT_FALSE(device->getDigitalStatus(status));
  EXPECT_EQ(status, (VQ_DigitalStatus{3, 96000}));
}

}  // namespace
