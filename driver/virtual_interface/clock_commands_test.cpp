// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "driver/virtual_interface/command_test.h"

namespace driver {
namespace {

using testing::ElementsAre;

class ClockCommands : public CommandTest {};

TEST_F(ClockCommands, ThereAreFourConfigurations) {
  EXPECT_EQ(word(6), 4u);
  EXPECT_THAT(words(7, 5, {0}), ElementsAre(44100, 6, 24, 4, 24));
  EXPECT_THAT(words(7, 5, {1}), ElementsAre(48000, 6, 24, 4, 24));
  EXPECT_THAT(words(7, 5, {2}), ElementsAre(88200, 6, 24, 4, 24));
  EXPECT_THAT(words(7, 5, {3}), ElementsAre(96000, 6, 24, 4, 24));
}

TEST_F(ClockCommands, AFifthConfigurationIsRefused) { EXPECT_EQ(answer(7, {4}), std::nullopt); }

TEST_F(ClockCommands, TheCurrentConfigurationIsAt48000AtStart) {
  EXPECT_THAT(words(8, 5), ElementsAre(48000, 6, 24, 4, 24));
}

TEST_F(ClockCommands, SettingAConfigurationChangesTheRate) {
  EXPECT_THAT(words(9, 5, {96000, 6, 24, 4, 24}), ElementsAre(96000, 6, 24, 4, 24));
  EXPECT_THAT(words(8, 5), ElementsAre(96000, 6, 24, 4, 24));
}

TEST_F(ClockCommands, AnUnknownConfigurationAnswersTheCurrentOne) {
  EXPECT_THAT(words(9, 5, {96000, 8, 24, 4, 24}), ElementsAre(48000, 6, 24, 4, 24));
  EXPECT_THAT(words(9, 5, {32000, 6, 24, 4, 24}), ElementsAre(48000, 6, 24, 4, 24));
  EXPECT_EQ(model().clock.rate(), 48000u);
}

TEST_F(ClockCommands, AConfigurationOfAnotherRateIsNotTakenOnTheDigitalClock) {
  digitalInput(DigitalSignal::valid, 44100);
  EXPECT_THAT(words(9, 5, {96000, 6, 24, 4, 24}), ElementsAre(44100, 6, 24, 4, 24));
}

TEST_F(ClockCommands, TheCurrentConfigurationFollowsTheDigitalInput) {
  digitalInput(DigitalSignal::valid, 88200);
  EXPECT_THAT(words(8, 5), ElementsAre(88200, 6, 24, 4, 24));
}

TEST_F(ClockCommands, ThereAreSixBufferSizes) {
  EXPECT_EQ(word(10), 6u);
  EXPECT_EQ(word(11, {0}), 64u);
  EXPECT_EQ(word(11, {1}), 128u);
  EXPECT_EQ(word(11, {5}), 2048u);
}

TEST_F(ClockCommands, ASeventhBufferSizeIsRefused) { EXPECT_EQ(word(11, {6}), std::nullopt); }

TEST_F(ClockCommands, TheSettingCommandWithOneWordSetsTheBufferSize) {
  EXPECT_EQ(word(9, {512}), 512u);
  EXPECT_EQ(word(12), 512u);
  EXPECT_EQ(model().clock.rate(), 48000u);
}

TEST_F(ClockCommands, AnUnknownBufferSizeAnswersTheCurrentOne) {
  EXPECT_EQ(word(9, {500}), 256u);
  EXPECT_EQ(word(12), 256u);
}

TEST_F(ClockCommands, AConfigurationLeavesTheBufferSizeAlone) {
  answer(9, {44100, 6, 24, 4, 24});
  EXPECT_EQ(word(12), 256u);
}

TEST_F(ClockCommands, ThreeClockSourcesCanBeChosen) {
  EXPECT_EQ(word(14, {0}), 1u);
  EXPECT_EQ(word(14, {1}), 1u);
  EXPECT_EQ(word(14, {2}), 1u);
  EXPECT_EQ(word(14, {3}), 0u);
}

TEST_F(ClockCommands, TheClockSourceIsTheChosenOne) {
  EXPECT_EQ(word(15), 0u);
  EXPECT_EQ(word(16, {1}), 1u);
  EXPECT_EQ(word(15), 1u);
  EXPECT_EQ(word(16, {0}), 0u);
  EXPECT_EQ(word(15), 0u);
}

TEST_F(ClockCommands, TheDigitalClockWithoutASignalAnswersTheCurrentSource) {
  EXPECT_EQ(word(16, {2}), 0u);
  EXPECT_EQ(word(15), 0u);
}

TEST_F(ClockCommands, TheDigitalClockIsTakenWithAValidSignal) {
  digitalInput(DigitalSignal::valid, 48000);
  EXPECT_EQ(word(16, {2}), 2u);
  EXPECT_EQ(word(15), 2u);
}

TEST_F(ClockCommands, AnUnknownClockSourceAnswersTheCurrentOne) {
  word(16, {1});
  EXPECT_EQ(word(16, {3}), 1u);
  EXPECT_EQ(word(16, {0xFFFFFFFF}), 1u);
}

TEST_F(ClockCommands, TheDigitalStatusIsStateAndRate) {
  EXPECT_THAT(words(17, 2), ElementsAre(0, 0));
  digitalInput(DigitalSignal::invalid);
  EXPECT_THAT(words(17, 2), ElementsAre(1, 0));
  digitalInput(DigitalSignal::valid, 44150);
  EXPECT_THAT(words(17, 2), ElementsAre(2, 44150));
  digitalInput(DigitalSignal::muted, 96000);
  EXPECT_THAT(words(17, 2), ElementsAre(3, 96000));
}

}  // namespace
}  // namespace driver
