// SPDX-License-Identifier: MIT
#include "io/status_texts.h"

#include <gtest/gtest.h>

namespace {

TEST(StatusTexts, EachConnectionHasItsText) {
  EXPECT_STREQ(connectionText(true), "USB 2.0");
  EXPECT_STREQ(connectionText(false), "USB 1.1 (unsupported) ");
}

TEST(StatusTexts, EveryRateOfTheDeviceIsNamedAndAnyOtherIsShownAsTheLowest) {
  EXPECT_EQ(sampleRateText(44100), "44.1 kHz");
  EXPECT_EQ(sampleRateText(48000), "48 kHz");
  EXPECT_EQ(sampleRateText(88200), "88.2 kHz");
  EXPECT_EQ(sampleRateText(96000), "96 kHz");
  EXPECT_EQ(sampleRateText(0), "44.1 kHz");
  EXPECT_EQ(sampleRateText(192000), "44.1 kHz");
}

TEST(StatusTexts, OnlyTheAutomaticClockFollowsTheSignal) {
  EXPECT_STREQ(clockSourceText(kClockAutomatic, true), "digital input");
  EXPECT_STREQ(clockSourceText(kClockAutomatic, false), "internal");
  EXPECT_STREQ(clockSourceText(kClockInternal, true), "internal");
  EXPECT_STREQ(clockSourceText(kClockDigitalInput, false), "digital input");
  EXPECT_STREQ(clockSourceText(3, true), "unknown");
  EXPECT_STREQ(clockSourceText(-1, true), "unknown");
}

TEST(StatusTexts, ASignalIsValidInOneLockStateAlone) {
  for (const std::uint32_t state : {0u, 1u, 3u, 4u}) EXPECT_FALSE(hasValidSignal({state, 48000}));
  EXPECT_TRUE(hasValidSignal({2, 0}));
}

TEST(StatusTexts, TheDigitalInputIsUnavailableOnTheInternalClock) {
  EXPECT_EQ(digitalInputText(kClockInternal, {2, 48000}), "unavailable");
}

TEST(StatusTexts, TheDigitalInputsStateIsNamed) {
  EXPECT_EQ(digitalInputText(kClockAutomatic, {0, 48000}), "no signal");
  EXPECT_EQ(digitalInputText(kClockAutomatic, {1, 48000}), "no valid signal");
  EXPECT_EQ(digitalInputText(kClockAutomatic, {2, 48000}), "valid 48 kHz");
  EXPECT_EQ(digitalInputText(kClockDigitalInput, {3, 96000}), "muted 96 kHz");
  EXPECT_EQ(digitalInputText(kClockDigitalInput, {4, 96000}), "no signal");
}

TEST(StatusTexts, ARateHasOneDecimalWhereItIsNoWholeNumberOfKilohertz) {
  EXPECT_EQ(digitalInputText(0, {2, 44100}), "valid 44.1 kHz");
  EXPECT_EQ(digitalInputText(0, {2, 48001}), "valid 48.0 kHz");
  EXPECT_EQ(digitalInputText(0, {2, 44199}), "valid 44.1 kHz");
  EXPECT_EQ(digitalInputText(0, {2, 0}), "valid 0 kHz");
  EXPECT_EQ(digitalInputText(0, {2, 0xFFFFFFFF}), "valid 4294967.2 kHz");
}

}  // namespace
