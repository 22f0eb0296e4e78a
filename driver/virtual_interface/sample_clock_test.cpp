#include "driver/virtual_interface/sample_clock.h"

#include <gtest/gtest.h>

namespace driver {
namespace {

constexpr DigitalInput kValid48 = {DigitalSignal::valid, 48000};

TEST(SampleClock, StartsAutomaticOnTheInternalClockAt44100) {
  const SampleClock clock;
  EXPECT_EQ(clock.chosen(), ClockSource::automatic);
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, TheAutomaticChoiceFollowsAValidDigitalInput) {
  SampleClock clock;
  clock.setDigitalInput(kValid48);
  EXPECT_EQ(clock.effective(), ClockSource::digital);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, TheAutomaticChoiceKeepsTheLastRateWhenTheSignalGoes) {
  SampleClock clock;
  clock.setDigitalInput(kValid48);
  clock.setDigitalInput({});
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, ASignalThatDeviatesLittleIsFollowedAtTheSupportedRate) {
  SampleClock clock;
  clock.setDigitalInput({DigitalSignal::valid, 47990});
  EXPECT_EQ(clock.rate(), 48000u);
  EXPECT_EQ(clock.digitalInput().rate, 47990u);
}

TEST(SampleClock, ASignalOfAnUnsupportedRateIsNotFollowed) {
  SampleClock clock;
  clock.setDigitalInput({DigitalSignal::valid, 32000});
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, AMutedSignalIsNotFollowed) {
  SampleClock clock;
  clock.setDigitalInput({DigitalSignal::muted, 96000});
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, AnInputWithoutAValidSignalHasNoRate) {
  SampleClock clock;
  clock.setDigitalInput({DigitalSignal::invalid, 48000});
  EXPECT_EQ(clock.digitalInput(), (DigitalInput{DigitalSignal::invalid, 0}));
}

TEST(SampleClock, TheInternalClockIgnoresTheDigitalInput) {
  SampleClock clock;
  EXPECT_TRUE(clock.choose(ClockSource::internal));
  clock.setDigitalInput(kValid48);
  EXPECT_EQ(clock.effective(), ClockSource::internal);
  EXPECT_EQ(clock.rate(), 44100u);
}

TEST(SampleClock, ChoosingTheAutomaticSourceTakesTheRateOfTheInput) {
  SampleClock clock;
  clock.choose(ClockSource::internal);
  clock.setDigitalInput(kValid48);
  EXPECT_TRUE(clock.choose(ClockSource::automatic));
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, TheDigitalInputCannotBeChosenWithoutAValidSignal) {
  SampleClock clock;
  EXPECT_FALSE(clock.choose(ClockSource::digital));
  EXPECT_EQ(clock.chosen(), ClockSource::automatic);
}

TEST(SampleClock, TheDigitalInputStaysChosenWhileItsSignalIsGone) {
  SampleClock clock;
  clock.setDigitalInput(kValid48);
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
  clock.setDigitalInput(kValid48);
  EXPECT_FALSE(clock.setRate(96000));
  EXPECT_TRUE(clock.setRate(48000));
  EXPECT_EQ(clock.rate(), 48000u);
}

TEST(SampleClock, AnUnsupportedRateIsRefused) {
  SampleClock clock;
  EXPECT_FALSE(clock.setRate(32000));
  EXPECT_EQ(clock.rate(), 44100u);
}

}  // namespace
}  // namespace driver
