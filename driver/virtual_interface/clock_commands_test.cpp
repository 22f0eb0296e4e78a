// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "driver/virtual_interface/command_test.h"

namespace driver {
namespace {

using testing::ElementsAre;

class ClockCommands : public CommandTest {};

TEST_F(ClockCommands, ThereAreFourConfigurations) {
  EXPECT_EQ(word(kGetCountConfigurations), 4u);
  EXPECT_THAT(words(kGetConfiguration, 5, {0}), ElementsAre(44100, 6, 24, 4, 24));
  EXPECT_THAT(words(kGetConfiguration, 5, {1}), ElementsAre(48000, 6, 24, 4, 24));
  EXPECT_THAT(words(kGetConfiguration, 5, {2}), ElementsAre(88200, 6, 24, 4, 24));
  EXPECT_THAT(words(kGetConfiguration, 5, {3}), ElementsAre(96000, 6, 24, 4, 24));
}

TEST_F(ClockCommands, AFifthConfigurationIsRefused) {
  EXPECT_EQ(answer(kGetConfiguration, {4}), std::nullopt);
}

TEST_F(ClockCommands, TheCurrentConfigurationIsAt48000AtStart) {
  EXPECT_THAT(words(kGetCurrentConfiguration, 5), ElementsAre(48000, 6, 24, 4, 24));
}

TEST_F(ClockCommands, SettingAConfigurationChangesTheRate) {
  EXPECT_THAT(words(kSetConfiguration, 5, {96000, 6, 24, 4, 24}), ElementsAre(96000, 6, 24, 4, 24));
  EXPECT_THAT(words(kGetCurrentConfiguration, 5), ElementsAre(96000, 6, 24, 4, 24));
}

TEST_F(ClockCommands, AnUnknownConfigurationAnswersTheCurrentOne) {
  EXPECT_THAT(words(kSetConfiguration, 5, {96000, 8, 24, 4, 24}), ElementsAre(48000, 6, 24, 4, 24));
  EXPECT_THAT(words(kSetConfiguration, 5, {32000, 6, 24, 4, 24}), ElementsAre(48000, 6, 24, 4, 24));
  EXPECT_EQ(model().clock.rate(), 48000u);
}

TEST_F(ClockCommands, AConfigurationOfAnotherRateIsRejectedOnTheDigitalClock) {
  digitalInput(kLockValid, 44100);
  EXPECT_THAT(words(kSetConfiguration, 5, {96000, 6, 24, 4, 24}), ElementsAre(44100, 6, 24, 4, 24));
}

TEST_F(ClockCommands, TheCurrentConfigurationFollowsTheDigitalInput) {
  digitalInput(kLockValid, 88200);
  EXPECT_THAT(words(kGetCurrentConfiguration, 5), ElementsAre(88200, 6, 24, 4, 24));
}

TEST_F(ClockCommands, ThereAreSixBufferSizes) {
  EXPECT_EQ(word(kGetCountBufferSizes), 6u);
  EXPECT_EQ(word(kGetBufferSize, {0}), 64u);
  EXPECT_EQ(word(kGetBufferSize, {1}), 128u);
  EXPECT_EQ(word(kGetBufferSize, {5}), 2048u);
}

TEST_F(ClockCommands, ASeventhBufferSizeIsRefused) {
  EXPECT_EQ(word(kGetBufferSize, {6}), std::nullopt);
}

TEST_F(ClockCommands, TheSettingCommandWithOneWordSetsTheBufferSize) {
  EXPECT_EQ(word(kSetBufferSize, {512}), 512u);
  EXPECT_EQ(word(kGetCurrentBufferSize), 512u);
  EXPECT_EQ(model().clock.rate(), 48000u);
}

TEST_F(ClockCommands, AnUnknownBufferSizeAnswersTheCurrentOne) {
  EXPECT_EQ(word(kSetBufferSize, {500}), 256u);
  EXPECT_EQ(word(kGetCurrentBufferSize), 256u);
}

TEST_F(ClockCommands, AConfigurationLeavesTheBufferSizeAlone) {
  answer(kSetConfiguration, {44100, 6, 24, 4, 24});
  EXPECT_EQ(word(kGetCurrentBufferSize), 256u);
}

TEST_F(ClockCommands, ThreeClockSourcesCanBeChosen) {
  EXPECT_EQ(word(kCanClockSource, {0}), 1u);
  EXPECT_EQ(word(kCanClockSource, {1}), 1u);
  EXPECT_EQ(word(kCanClockSource, {2}), 1u);
  EXPECT_EQ(word(kCanClockSource, {3}), 0u);
}

TEST_F(ClockCommands, TheClockSourceIsTheChosenOne) {
  EXPECT_EQ(word(kGetCurrentClockSource), 0u);
  EXPECT_EQ(word(kSetClockSource, {1}), 1u);
  EXPECT_EQ(word(kGetCurrentClockSource), 1u);
  EXPECT_EQ(word(kSetClockSource, {0}), 0u);
  EXPECT_EQ(word(kGetCurrentClockSource), 0u);
}

TEST_F(ClockCommands, TheDigitalClockWithoutASignalAnswersTheCurrentSource) {
  EXPECT_EQ(word(kSetClockSource, {2}), 0u);
  EXPECT_EQ(word(kGetCurrentClockSource), 0u);
}

TEST_F(ClockCommands, TheDigitalClockIsAcceptedWithAValidSignal) {
  digitalInput(kLockValid, 48000);
  EXPECT_EQ(word(kSetClockSource, {2}), 2u);
  EXPECT_EQ(word(kGetCurrentClockSource), 2u);
}

TEST_F(ClockCommands, AnUnknownClockSourceAnswersTheCurrentOne) {
  word(kSetClockSource, {1});
  EXPECT_EQ(word(kSetClockSource, {3}), 1u);
  EXPECT_EQ(word(kSetClockSource, {0xFFFFFFFF}), 1u);
}

TEST_F(ClockCommands, TheDigitalStatusIsStateAndRate) {
  EXPECT_THAT(words(kGetDigitalStatus, 2), ElementsAre(0, 0));
  digitalInput(kLockInvalid);
  EXPECT_THAT(words(kGetDigitalStatus, 2), ElementsAre(1, 0));
  digitalInput(kLockValid, 44150);
  EXPECT_THAT(words(kGetDigitalStatus, 2), ElementsAre(2, 44150));
  digitalInput(kLockMuted, 96000);
  EXPECT_THAT(words(kGetDigitalStatus, 2), ElementsAre(3, 96000));
}

}  // namespace
}  // namespace driver
