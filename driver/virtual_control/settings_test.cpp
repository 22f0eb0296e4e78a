// SPDX-License-Identifier: MIT
#include "driver/virtual_control/settings.h"

#include <gmock/gmock.h>

#include <sstream>

namespace driver {
namespace {

using testing::HasSubstr;

class Settings : public testing::Test {
 protected:
  SettingResult set(const std::vector<std::string>& words) {
    problem_.clear();
    return applySetting(model_, words, &problem_);
  }
  void expectWrong(const std::vector<std::string>& words) {
    EXPECT_EQ(set(words), SettingResult::wrongArguments) << testing::PrintToString(words);
    EXPECT_NE(problem_, "");
  }
  void expectDone(const std::vector<std::string>& words) {
    EXPECT_EQ(set(words), SettingResult::done) << problem_;
  }

  Model model_;
  std::string problem_;
};

TEST_F(Settings, TheDigitalInputHasFourStates) {
  expectDone({"digital-input", "invalid"});
  EXPECT_EQ(model_.clock.digitalInput(), (VQ_DigitalStatus{kLockInvalid, 0}));
  expectDone({"digital-input", "valid", "44150"});
  EXPECT_EQ(model_.clock.digitalInput(), (VQ_DigitalStatus{kLockValid, 44150}));
  expectDone({"digital-input", "muted", "96000"});
  EXPECT_EQ(model_.clock.digitalInput(), (VQ_DigitalStatus{kLockMuted, 96000}));
  expectDone({"digital-input", "none"});
  EXPECT_EQ(model_.clock.digitalInput(), VQ_DigitalStatus());
}

TEST_F(Settings, ADigitalInputTakesARateOnlyWithASignal) {
  expectWrong({"digital-input", "valid"});
  expectWrong({"digital-input", "none", "44100"});
  expectWrong({"digital-input", "valid", "fast"});
  expectWrong({"digital-input", "broken"});
}

TEST_F(Settings, TheSampleRateIsOneOfFour) {
  expectDone({"sample-rate", "96000"});
  EXPECT_EQ(model_.clock.rate(), 96000u);
  expectWrong({"sample-rate", "32000"});
}

TEST_F(Settings, TheSampleRateIsRefusedWhileTheDigitalInputGivesIt) {
  set({"digital-input", "valid", "44100"});
  EXPECT_EQ(set({"sample-rate", "96000"}), SettingResult::refused);
  EXPECT_THAT(problem_, HasSubstr("sample-rate"));
}

TEST_F(Settings, TheDigitalClockNeedsASignal) {
  EXPECT_EQ(set({"clock", "digital"}), SettingResult::refused);
  expectDone({"clock", "internal"});
  EXPECT_EQ(model_.clock.chosen(), kClockInternal);
}

TEST_F(Settings, ARoutingIsSetWithinItsRange) {
  expectDone({"routing", "in", "2", "3"});
  expectDone({"routing", "out", "1", "4"});
  EXPECT_EQ(model_.routings, (Routings{{0, 4}, {0, 1, 3}}));
  expectWrong({"routing", "in", "2", "4"});
  expectWrong({"routing", "out", "2", "0"});
  expectWrong({"routing", "up", "0", "0"});
}

TEST_F(Settings, TheSpeedIsOneOfTwo) {
  expectDone({"usb", "1.1"});
  EXPECT_FALSE(model_.usb2);
  expectDone({"usb", "2.0"});
  EXPECT_TRUE(model_.usb2);
  expectWrong({"usb", "3.0"});
}

TEST_F(Settings, IdsAre16BitNumbers) {
  expectDone({"ids", "0x7f33", "8"});
  EXPECT_EQ(model_.identity.vendorId, 0x7F33);
  EXPECT_EQ(model_.identity.productId, 8);
  expectWrong({"ids", "0x10000", "8"});
  expectWrong({"ids", "8"});
}

TEST_F(Settings, AFamilyBringsItsIds) {
  expectDone({"class", "orbek"});
  EXPECT_EQ(model_.identity.className, "LumKernelDeviceOrbekTalvo4");
  EXPECT_EQ(model_.identity.vendorId, 0x7F33);
  expectDone({"class", "vx310"});
  EXPECT_EQ(model_.identity, Identity());
  expectWrong({"class", "other"});
}

TEST_F(Settings, VersionsAndNames) {
  expectDone({"driver-version", "0x12030400"});
  EXPECT_EQ(model_.versions.driver, 0x12030400u);
  expectDone({"firmware-version", "0x02000001"});
  EXPECT_EQ(model_.versions.firmwareKnownToDriver, 0x02000001u);
  expectDone({"firmware-known", "no"});
  EXPECT_EQ(model_.versions.firmwareKnownToDriver, 0u);
  EXPECT_EQ(model_.versions.firmware, 0x02000001u);
  expectDone({"firmware-date", "Jan  1 2010 2.0"});
  expectWrong({"firmware-date", "January 1 2010 2"});
  expectDone({"product-name", "VX-310 Studio"});
  EXPECT_EQ(model_.identity.productName, "VX-310 Studio");
}

TEST_F(Settings, AnUnknownSettingIsNamedInTheProblem) {
  expectWrong({"volume", "11"});
  EXPECT_THAT(problem_, HasSubstr("'volume'"));
  expectWrong({});
}

TEST_F(Settings, WrongArgumentsAreAnsweredWithTheUsage) {
  std::istringstream help(settingsHelp());
  std::string line;
  int settings = 0;
  while (std::getline(help, line)) {
    if (!line.starts_with("  ") || line.starts_with("   ")) continue;
    const std::string name = line.substr(2, line.find(' ', 2) - 2);
    expectWrong({name});
    EXPECT_EQ(problem_, "'" + name + "' takes" + line.substr(2 + name.size()));
    ++settings;
  }
  EXPECT_EQ(settings, 12);
}

}  // namespace
}  // namespace driver
