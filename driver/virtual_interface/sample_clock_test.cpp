// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/sample_clock.h"

#include <gtest/gtest.h>

namespace driver {
namespace {

constexpr DigitalInput kValid44 = {DigitalSignal::valid, 44100};

TEST(SampleClock, StartsAutomaticOnTheInternalClockAt48000) {
  const SampleClock clock;
  EXPECT_EQ(clock.chosen(), ClockSource::automatic);
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, TheAutomaticChoiceFollowsAValidDigitalInput) {
  SampleClock clock;
  clock.setDigitalInput(kValid44);
  EXPECT_EQ(clock.effective(), ClockSource::digital);
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, TheAutomaticChoiceKeepsTheLastRateWhenTheSignalGoes) {
  SampleClock clock;
  clock.setDigitalInput(kValid44);
  clock.setDigitalInput({});
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, ASignalThatDeviatesLittleIsFollowedAtTheSupportedRate) {
  SampleClock clock;
  clock.setDigitalInput({DigitalSignal::valid, 44090});
  EXPECT_EQ(clock.rate(), 44100u);
  EXPECT_EQ(clock.digitalInput().rate, 44090u);
}

TEST(SampleClock, ASignalOfAnUnsupportedRateIsNotFollowed) {
  SampleClock clock;
  clock.setDigitalInput({DigitalSignal::valid, 32000});
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, AMutedSignalIsNotFollowed) {
  SampleClock clock;
  clock.setDigitalInput({DigitalSignal::muted, 96000});
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, AnInputWithoutAValidSignalHasNoRate) {
  SampleClock clock;
  clock.setDigitalInput({DigitalSignal::invalid, 48000});
  EXPECT_EQ(clock.digitalInput(), (DigitalInput{DigitalSignal::invalid, 0}));
}

TEST(SampleClock, TheInternalClockIgnoresTheDigitalInput) {
  SampleClock clock;
  EXPECT_TRUE(clock.choose(ClockSource::internal));
  clock.setDigitalInput(kValid44);
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, ChoosingTheAutomaticSourceTakesTheRateOfTheInput) {
  SampleClock clock;
  clock.choose(ClockSource::internal);
  clock.setDigitalInput(kValid44);
  EXPECT_TRUE(clock.choose(ClockSource::automatic));
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, TheDigitalInputCannotBeChosenWithoutAValidSignal) {
  SampleClock clock;
  EXPECT_FALSE(clock.choose(ClockSource::digital));
  EXPECT_EQ(clock.chosen(), ClockSource::automatic);
}

TEST(SampleClock, TheDigitalInputStaysChosenWhileItsSignalIsGone) {
  SampleClock clock;
  clock.setDigitalInput(kValid44);
  EXPECT_TRUE(clock.choose(ClockSource::digital));
  clock.setDigitalInput({});
  EXPECT_EQ(clock.chosen(), ClockSource::digital);
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  clock.setDigitalInput({DigitalSignal::valid, 96000});
  EXPECT_EQ(clock.effective(), ClockSource::digital);
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
