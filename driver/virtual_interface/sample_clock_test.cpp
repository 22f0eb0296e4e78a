// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/sample_clock.h"

#include <gtest/gtest.h>

namespace driver {
namespace {

constexpr VQ_DigitalStatus kValid44 = {kLockValid, 44100};

TEST(SampleClock, StartsAutomaticOnTheInternalClockAt48000) {
  const SampleClock clock;
  EXPECT_EQ(clock.chosen(), kClockAutomatic);
  EXPECT_EQ(clock.effective(), kClockInternal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, TheAutomaticChoiceFollowsAValidDigitalInput) {
  SampleClock clock;
  clock.setDigitalInput(kValid44);
  EXPECT_EQ(clock.effective(), kClockDigitalInput);
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, TheAutomaticChoiceKeepsTheLastRateWhenTheSignalGoes) {
  SampleClock clock;
  clock.setDigitalInput(kValid44);
  clock.setDigitalInput({});
  EXPECT_EQ(clock.effective(), kClockInternal);
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, ASignalThatDeviatesLittleIsFollowedAtTheSupportedRate) {
  SampleClock clock;
  clock.setDigitalInput({kLockValid, 44090});
  EXPECT_EQ(clock.rate(), 44100u);
  EXPECT_EQ(clock.digitalInput().rate, 44090u);
}

TEST(SampleClock, ASignalOfAnUnsupportedRateIsNotFollowed) {
  SampleClock clock;
  clock.setDigitalInput({kLockValid, 32000});
  EXPECT_EQ(clock.effective(), kClockInternal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, AMutedSignalIsNotFollowed) {
  SampleClock clock;
  clock.setDigitalInput({kLockMuted, 96000});
  EXPECT_EQ(clock.effective(), kClockInternal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, AnInputWithoutAValidSignalHasNoRate) {
  SampleClock clock;
  clock.setDigitalInput({kLockInvalid, 48000});
  EXPECT_EQ(clock.digitalInput(), (VQ_DigitalStatus{kLockInvalid, 0}));
}

TEST(SampleClock, TheInternalClockIgnoresTheDigitalInput) {
  SampleClock clock;
  EXPECT_TRUE(clock.choose(kClockInternal));
  clock.setDigitalInput(kValid44);
  EXPECT_EQ(clock.effective(), kClockInternal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, ChoosingTheAutomaticSourceTakesTheRateOfTheInput) {
  SampleClock clock;
  clock.choose(kClockInternal);
  clock.setDigitalInput(kValid44);
  EXPECT_TRUE(clock.choose(kClockAutomatic));
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, TheDigitalInputCannotBeChosenWithoutAValidSignal) {
  SampleClock clock;
  EXPECT_FALSE(clock.choose(kClockDigitalInput));
  EXPECT_EQ(clock.chosen(), kClockAutomatic);
}

TEST(SampleClock, TheDigitalInputStaysChosenWhileItsSignalIsGone) {
  SampleClock clock;
  clock.setDigitalInput(kValid44);
  EXPECT_TRUE(clock.choose(kClockDigitalInput));
  clock.setDigitalInput({});
  EXPECT_EQ(clock.chosen(), kClockDigitalInput);
  EXPECT_EQ(clock.effective(), kClockInternal);
  clock.setDigitalInput({kLockValid, 96000});
  EXPECT_EQ(clock.effective(), kClockDigitalInput);
  EXPECT_EQ(clock.rate(), 96000u);
}

TEST(SampleClock, TheRateCannotBeSetWhileTheDigitalInputGivesIt) {
  SampleClock clock;
  clock.setDigitalInput(kValid44);
  EXPECT_FALSE(clock.setRate(96000));
  EXPECT_TRUE(clock.setRate(44100));
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, AnUnsupportedRateIsRefused) {
  SampleClock clock;
  EXPECT_FALSE(clock.setRate(32000));
  EXPECT_EQ(clock.rate(), 48000u);
}

}  // namespace
}  // namespace driver
