// SPDX-License-Identifier: MIT
#include "io/status.h"

#include <algorithm>

#include "io/testing/io_test.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;

class Status : public IoTest {
 protected:
  void SetUp() override {
    interface.publish();
    start();
    interface.commands.clear();
  }

  std::vector<std::string> gathered() {
    panel.calls.clear();
    IOSetData();
    return panel.calls;
  }

  // The last thing said about one info id.
  std::string shown(InfoId id) {
    const std::string prefix = "ShowInfo " + std::to_string(id) + " ";
    const auto calls = gathered();
    const auto last = std::find_if(calls.rbegin(), calls.rend(), [&](const std::string& call) {
      return call.starts_with(prefix);
    });
    return last == calls.rend() ? "nothing" : last->substr(prefix.size());
  }

  static std::string text(const std::string& value) { return "true 0 \"" + value + "\""; }
  static std::string item(int index) { return "true " + std::to_string(index) + " \"\""; }
  inline static const std::string kHidden = "false 0 \"\"";
};

TEST_F(Status, ACurrentDeviceIsShownInThisOrder) {
  EXPECT_THAT(gathered(), ElementsAre("ShowInfo 5 true 0 \"VX-310\"",         //
                                      "ShowInfo 4 true 0 \"1.2.3\"",          //
                                      "ShowInfo 7 true 0 \"USB 2.0\"",        //
                                      "ShowInfo 3 true 0 \"Mar 14 2009\"",    //
                                      "ShowInfo 0 true 0 \"24 bits\"",        //
                                      "ShowInfo 1 true 0 \"48 kHz\"",         //
                                      "ShowInfo 8 true 0 \"digital input\"",  //
                                      "ShowInfo 10 true 0 \"\"",              //
                                      "ShowInfo 2 true 0 \"valid 48 kHz\"",   //
                                      "ShowInfo 11 true 1 \"\"",              //
                                      "ShowInfo 15 true 0 \"\"",              //
                                      "ShowInfo 15 true 65537 \"\"",          //
                                      "ShowInfo 14 true 0 \"\"",              //
                                      "ShowInfo 14 true 65537 \"\"",          //
                                      "ShowInfo 14 true 131074 \"\"",         //
                                      "ShowInfo 13 true 0 \"\"",              //
                                      "ShowInfo 9 false 0 \"\"",              //
                                      "ShowInfo 9 false 0 \"\"",              //
                                      "ShowInfo 12 false 0 \"\"",             //
                                      "Invalidate true"));
}

TEST_F(Status, TheDriverIsAskedInThisOrder) {
  const std::size_t before = memory_registry::requests().size();
  IOSetData();
  std::vector<int> commands;
  for (std::size_t i = before; i < memory_registry::requests().size(); ++i) {
    commands.push_back(memory_registry::requests()[i].bytes[0]);
  }
  // Driver version, firmware version and date, configuration, clock source; then the digital status
  // for the automatic clock, the clock source for its menu, the digital status, the output format.
  EXPECT_THAT(commands, ElementsAre(22, 23, 24, 8, 15, 17, 15, 17, 27));
}

TEST_F(Status, AUsb1ConnectionHidesWidthAndRateAndStillShowsTheRest) {
  IOTerm();
  interface.usb2 = 0;
  IOInit();
  EXPECT_THAT(gathered(), ElementsAre("ShowInfo 5 true 0 \"VX-310\"",                  //
                                      "ShowInfo 4 true 0 \"1.2.3\"",                   //
                                      "ShowInfo 7 true 0 \"USB 1.1 (unsupported) \"",  //
                                      "ShowInfo 3 true 0 \"Mar 14 2009\"",             //
                                      "ShowInfo 0 true 0 \"24 bits\"",                 //
                                      "ShowInfo 1 true 0 \"48 kHz\"",                  //
                                      "ShowInfo 0 false 0 \"\"",                       //
                                      "ShowInfo 1 false 0 \"\"",                       //
                                      "ShowInfo 8 true 0 \"digital input\"",           //
                                      "ShowInfo 10 true 0 \"\"",                       //
                                      "ShowInfo 2 true 0 \"valid 48 kHz\"",            //
                                      "ShowInfo 11 true 1 \"\"",                       //
                                      "ShowInfo 15 true 0 \"\"",                       //
                                      "ShowInfo 15 true 65537 \"\"",                   //
                                      "ShowInfo 14 true 0 \"\"",                       //
                                      "ShowInfo 14 true 65537 \"\"",                   //
                                      "ShowInfo 14 true 131074 \"\"",                  //
                                      "ShowInfo 13 true 0 \"\"",                       //
                                      "ShowInfo 9 false 0 \"\"",                       //
                                      "ShowInfo 9 false 0 \"\"",                       //
                                      "ShowInfo 12 false 0 \"\"",                      //
                                      "Invalidate true"));
}

TEST_F(Status, ADriverThatCannotTellItsVersionGivesAnEmptyText) {
  interface.deaf = {VQ_Command::kGetDriverVersion};
  EXPECT_EQ(shown(kInfoDriverVersion), text(""));
}

TEST_F(Status, TheFirmwareFieldShowsTheDateAndNotTheNumber) {
  interface.firmwareDate = "123456789012345";
  EXPECT_EQ(shown(kInfoFirmwareVersion), text("123456789012345"));
}

TEST_F(Status, ADriverThatCannotTellTheFirmwareGivesAnEmptyText) {
  interface.deaf = {VQ_Command::kGetFirmwareVersion};
  EXPECT_EQ(shown(kInfoFirmwareVersion), text(""));
}

TEST_F(Status, EachSampleRateHasItsText) {
  const std::map<std::uint32_t, std::string> texts = {
      {44100, "44.1 kHz"}, {48000, "48 kHz"}, {88200, "88.2 kHz"}, {96000, "96 kHz"}};
  for (const auto& [rate, rateText] : texts) {
    interface.sampleRate = rate;
    EXPECT_EQ(shown(kInfoSampleRate), text(rateText));
  }
}

TEST_F(Status, AnyOtherSampleRateReadsAs441Khz) {
  for (const std::uint32_t rate : {0u, 32000u, 192000u, 0xffffffffu}) {
    interface.sampleRate = rate;
    EXPECT_EQ(shown(kInfoSampleRate), text("44.1 kHz")) << rate;
  }
  interface.deaf = {VQ_Command::kGetCurrentConfiguration};
  EXPECT_EQ(shown(kInfoSampleRate), text("44.1 kHz"));
}

TEST_F(Status, TheInternalClockReadsInternal) {
  interface.clockSource = 1;
  EXPECT_EQ(shown(kInfoSampleClockSource), text("internal"));
  EXPECT_EQ(shown(kInfoSampleClockSourceMenu), item(1));
}

TEST_F(Status, TheDigitalInputAsClockReadsDigitalInputAndAutomaticInTheMenu) {
  interface.clockSource = 2;
  EXPECT_EQ(shown(kInfoSampleClockSource), text("digital input"));
  EXPECT_EQ(shown(kInfoSampleClockSourceMenu), item(0));
}

TEST_F(Status, TheAutomaticClockFollowsTheDigitalInputOnlyWhileItIsValid) {
  interface.clockSource = 0;
  EXPECT_EQ(shown(kInfoSampleClockSource), text("digital input"));
  for (const std::uint32_t lockState : {0u, 1u, 3u, 4u}) {
    interface.lockState = lockState;
    EXPECT_EQ(shown(kInfoSampleClockSource), text("internal")) << lockState;
  }
}

TEST_F(Status, TheAutomaticClockIsInternalWhenTheDigitalInputCannotBeRead) {
  interface.deaf = {VQ_Command::kGetDigitalStatus};
  EXPECT_EQ(shown(kInfoSampleClockSource), text("internal"));
}

TEST_F(Status, TheAutomaticClockIsInternalWhereNoDigitalStatusIsShown) {
  _ioShowDigitalStatus = false;
  EXPECT_EQ(shown(kInfoSampleClockSource), text("internal"));
  EXPECT_EQ(interface.commands[VQ_Command::kGetDigitalStatus], 0);
}

TEST_F(Status, AnyOtherClockSourceReadsUnknown) {
  for (const std::uint32_t source : {3u, 0xffffffffu}) {
    interface.clockSource = source;
    EXPECT_EQ(shown(kInfoSampleClockSource), text("unknown")) << source;
  }
  interface.deaf = {VQ_Command::kGetCurrentClockSource};
  EXPECT_EQ(shown(kInfoSampleClockSource), text("unknown"));
}

TEST_F(Status, WithoutTheClockFlagFieldAndMenuAreHidden) {
  _ioShowClockSource = false;
  EXPECT_EQ(shown(kInfoSampleClockSource), kHidden);
  EXPECT_EQ(shown(kInfoSampleClockSourceMenu), kHidden);
}

TEST_F(Status, WithTheInternalClockTheDigitalInputIsUnavailableAndNotAskedFor) {
  interface.clockSource = 1;
  EXPECT_EQ(shown(kInfoDigitalInputStatus), text("unavailable"));
  EXPECT_EQ(interface.commands[VQ_Command::kGetDigitalStatus], 0);
}

TEST_F(Status, EachLockStateHasItsText) {
  interface.digitalInputRate = 96000;
  const std::map<std::uint32_t, std::string> texts = {
      {0, "no signal"},    {1, "no valid signal"}, {2, "valid 96 kHz"},
      {3, "muted 96 kHz"}, {4, "no signal"},       {0xffffffff, "no signal"}};
  for (const auto& [lockState, lockText] : texts) {
    interface.lockState = lockState;
    EXPECT_EQ(shown(kInfoDigitalInputStatus), text(lockText));
  }
}

TEST_F(Status, TheRateOfTheDigitalInputIsGivenInKilohertzWithOneDecimalWhereThereIsAny) {
  const std::map<std::uint32_t, std::string> texts = {{48000, "valid 48 kHz"},
                                                      {44100, "valid 44.1 kHz"},
                                                      {88200, "valid 88.2 kHz"},
                                                      {44150, "valid 44.1 kHz"},
                                                      {44050, "valid 44.0 kHz"},
                                                      {0, "valid 0 kHz"},
                                                      {4294967295u, "valid 4294967.2 kHz"}};
  for (const auto& [rate, rateText] : texts) {
    interface.digitalInputRate = rate;
    EXPECT_EQ(shown(kInfoDigitalInputStatus), text(rateText));
  }
}

TEST_F(Status, AMutedRateIsGivenInTheSameWay) {
  interface.lockState = 3;
  interface.digitalInputRate = 176400;
  EXPECT_EQ(shown(kInfoDigitalInputStatus), text("muted 176.4 kHz"));
}

TEST_F(Status, ADigitalInputThatCannotBeReadHasNoSignal) {
  interface.deaf = {VQ_Command::kGetDigitalStatus};
  EXPECT_EQ(shown(kInfoDigitalInputStatus), text("no signal"));
}

TEST_F(Status, WithoutTheDigitalFlagStatusAndOutputFormatAreHidden) {
  _ioShowDigitalStatus = false;
  EXPECT_EQ(shown(kInfoDigitalInputStatus), kHidden);
  EXPECT_EQ(shown(kInfoDigitalOutputFormat), kHidden);
}

TEST_F(Status, AnOutputFormatThatCannotBeReadIsShownAsTheOperationReportsIt) {
  interface.deaf = {VQ_Command::kGetDigitalOutMode};
  EXPECT_EQ(shown(kInfoDigitalOutputFormat), item(-1));
}

TEST_F(Status, WithoutTheRoutingFlagTheMenusAreHiddenAndNotAskedFor) {
  _ioShowRoutingMenus = false;
  EXPECT_EQ(shown(kInfoRoutingMenus), kHidden);
  EXPECT_EQ(shown(kInfoInputRouting), "nothing");
  EXPECT_EQ(shown(kInfoOutputRouting), "nothing");
}

TEST_F(Status, RoutingsThatTheDriverDoesNotPublishAreSentAsTheOperationReportsThem) {
  IOTerm();
  memory_registry::reset();
  interface.routings.clear();
  interface.publish();
  IOInit();
  EXPECT_THAT(gathered(), IsSupersetOf({"ShowInfo 15 true -1 \"\"", "ShowInfo 15 true 65535 \"\"",
                                        "ShowInfo 14 true -1 \"\"", "ShowInfo 14 true 65535 \"\"",
                                        "ShowInfo 14 true 131071 \"\""}));
}

TEST_F(Status, TheSelectorIsShownInTheUsb1MenuWhereItsFlagSaysSo) {
  _ioShowDigOutMode = true;
  EXPECT_EQ(shown(kInfoUsb1ModeInputSelection), item(1));
}

TEST_F(Status, WhereTheUsb1FlagIsSetTheModeIsShownAndTheMenuEnabledForAnOutsideClock) {
  _ioShowUSB1Mode = true;
  interface.clockSource = 2;
  const auto calls = gathered();
  const auto shownAt = std::find(calls.begin(), calls.end(), "ShowInfo 9 true 1 \"\"");
  ASSERT_NE(shownAt, calls.end());
  EXPECT_EQ(*(shownAt + 1), "EnableUSB1Mode true");
  EXPECT_EQ(*(shownAt + 2), "ShowInfo 9 false 0 \"\"");
  EXPECT_EQ(interface.commands[VQ_Command::kSetDigitalOutSelector], 0);
}

TEST_F(Status, WhereTheUsb1FlagIsSetTheInternalClockSelectsTheFirstInputAndDisablesTheMenu) {
  _ioShowUSB1Mode = true;
  interface.clockSource = 1;
  const auto calls = gathered();
  const auto selectedAt = std::find(calls.begin(), calls.end(), "ShowInfo 9 true 0 \"\"");
  ASSERT_NE(selectedAt, calls.end());
  EXPECT_EQ(*(selectedAt + 1), "ShowInfo 9 true 1 \"\"");
  EXPECT_EQ(*(selectedAt + 2), "EnableUSB1Mode false");
  EXPECT_EQ(interface.digitalOutSelector, 0u);
}

TEST_F(Status, WithoutADeviceTheUsb1FlagIsCleared) {
  IOTerm();
  _ioShowUSB1Mode = true;
  IOSetData();
  EXPECT_FALSE(_ioShowUSB1Mode);
}

TEST_F(Status, ADeviceThatAnswersNothingIsShownWithoutAFault) {
  for (std::uint32_t command = 0; command < 100; ++command)
    interface.deaf.push_back(VQ_Command{command});
  const auto calls = gathered();
  EXPECT_EQ(calls.front(), "ShowInfo 5 true 0 \"VX-310\"");
  EXPECT_EQ(calls.back(), "Invalidate true");
}

}  // namespace
