// SPDX-License-Identifier: MIT
#include <algorithm>

#include "io/testing/io_test.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::Pair;

class Status : public IoTest {
 protected:
  void SetUp() override {
    interface.routings = {{"RoutingOut0", 3},
                          {"RoutingOut1", 4},
                          {"RoutingIn0", 0},
                          {"RoutingIn1", 1},
                          {"RoutingIn2", 2}};
    interface.publish();
    start();
    interface.commands.clear();
  }

  std::vector<std::string> gathered() {
    panel.calls.clear();
    IOSetData();
    return panel.calls;
  }

  // The rest of the last ShowInfo call about `id`.
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
  static std::string call(InfoId id, const std::string& rest) {
    return "ShowInfo " + std::to_string(id) + " " + rest;
  }
  inline static const std::string kHidden = "false 0 \"\"";

  // The calls for the default interface on a connection of this type; `afterRate` are the calls
  // between the sample rate and the clock source.
  static std::vector<std::string> callsFor(const std::string& connection,
                                           const std::vector<std::string>& afterRate) {
    std::vector<std::string> calls = {
        call(kInfoDevice, text("VX-310")),
        call(kInfoDriverVersion, text("1.2.3")),
        call(kInfoConnectionType, text(connection)),
        call(kInfoFirmwareVersion, text("Mar 14 2009")),
        call(kInfoSampleWidth, text("24 bits")),
        call(kInfoSampleRate, text("48 kHz")),
    };
    calls.insert(calls.end(), afterRate.begin(), afterRate.end());
    const std::vector<std::string> rest = {
        call(kInfoSampleClockSource, text("digital input")),
        call(kInfoSampleClockSourceMenu, item(0)),
        call(kInfoDigitalInputStatus, text("valid 48 kHz")),
        call(kInfoDigitalOutputFormat, item(1)),
        call(kInfoOutputRouting, routing(0, 3)),
        call(kInfoOutputRouting, routing(1, 4)),
        call(kInfoInputRouting, routing(0, 0)),
        call(kInfoInputRouting, routing(1, 1)),
        call(kInfoInputRouting, routing(2, 2)),
        call(kInfoRoutingMenus, item(0)),
        call(kInfoUsb1ModeInputSelection, kHidden),
        call(kInfoUsb1ModeInputSelection, kHidden),
        call(kInfoCoreAudioPerformance, kHidden),
        "Invalidate true",
    };
    calls.insert(calls.end(), rest.begin(), rest.end());
    return calls;
  }
  static std::string routing(int pair, int value) { return item((pair << 16) + value); }
};

TEST_F(Status, ACurrentDeviceIsShownInThisOrder) {
  EXPECT_THAT(gathered(), ElementsAreArray(callsFor("USB 2.0", {})));
}

TEST_F(Status, TheDriverIsAskedInThisOrderBetweenTheCallsOfThePanel) {
  // Before each call of the panel, the requests that were sent since the call before it.
  std::vector<std::pair<std::string, std::vector<VQ_Command>>> asked;
  interface.sequence.clear();
  panel.onCall = [&](const std::string& shown) {
    if (!interface.sequence.empty()) {
      asked.emplace_back(shown.substr(0, shown.find(' ', 9)),
                         std::exchange(interface.sequence, {}));
    }
  };
  IOSetData();
  using enum VQ_Command;
  EXPECT_THAT(
      asked, ElementsAre(Pair("ShowInfo 4", ElementsAre(kGetDriverVersion)),
                         Pair("ShowInfo 3", ElementsAre(kGetFirmwareVersion, kGetFirmwareDate)),
                         Pair("ShowInfo 1", ElementsAre(kGetCurrentConfiguration)),
                         Pair("ShowInfo 8", ElementsAre(kGetCurrentClockSource, kGetDigitalStatus)),
                         Pair("ShowInfo 10", ElementsAre(kGetCurrentClockSource)),
                         Pair("ShowInfo 2", ElementsAre(kGetDigitalStatus)),
                         Pair("ShowInfo 11", ElementsAre(kGetDigitalOutMode))));
  EXPECT_THAT(interface.sequence, IsEmpty());
}

TEST_F(Status, WithoutAnyFlagTheFieldsAndMenusAreHiddenInThisOrder) {
  _ioShowClockSource = _ioShowDigitalStatus = _ioShowRoutingMenus = false;
  const auto calls = gathered();
  const auto afterRate =
      std::find(calls.begin(), calls.end(), call(kInfoSampleRate, text("48 kHz")));
  ASSERT_NE(afterRate, calls.end());
  EXPECT_THAT(
      std::vector(afterRate + 1, calls.end()),
      ElementsAre(call(kInfoSampleClockSource, kHidden), call(kInfoSampleClockSourceMenu, kHidden),
                  call(kInfoDigitalInputStatus, kHidden), call(kInfoDigitalOutputFormat, kHidden),
                  call(kInfoRoutingMenus, kHidden), call(kInfoUsb1ModeInputSelection, kHidden),
                  call(kInfoUsb1ModeInputSelection, kHidden),
                  call(kInfoCoreAudioPerformance, kHidden), "Invalidate true"));
}

TEST_F(Status, AUsb1ConnectionHidesWidthAndRateAndStillShowsTheRest) {
  IOTerm();
  interface.usb2 = 0;
  IOInit();
  EXPECT_THAT(gathered(), ElementsAreArray(callsFor(
                              "USB 1.1 (unsupported) ",
                              {call(kInfoSampleWidth, kHidden), call(kInfoSampleRate, kHidden)})));
}

TEST_F(Status, WithoutADriverVersionTheTextIsEmpty) {
  interface.deaf = {VQ_Command::kGetDriverVersion};
  EXPECT_EQ(shown(kInfoDriverVersion), text(""));
}

TEST_F(Status, TheFirmwareFieldShowsTheDateAndNotTheNumber) {
  interface.firmwareDate = "123456789012345";
  EXPECT_EQ(shown(kInfoFirmwareVersion), text("123456789012345"));
}

TEST_F(Status, WithoutAFirmwareVersionTheTextIsEmpty) {
  interface.deaf = {VQ_Command::kGetFirmwareVersion};
  EXPECT_EQ(shown(kInfoFirmwareVersion), text(""));
}

TEST_F(Status, EachSampleRateHasItsText) {
  const std::map<std::uint32_t, std::string> texts = {
      {44100, "44.1 kHz"}, {48000, "48 kHz"}, {88200, "88.2 kHz"}, {96000, "96 kHz"}};
  for (const auto& [rate, rateText] : texts) {
    interface.configuration.sampleRate = rate;
    EXPECT_EQ(shown(kInfoSampleRate), text(rateText));
  }
}

TEST_F(Status, AnyOtherSampleRateReadsAs441Khz) {
  for (const std::uint32_t rate : {0u, 32000u, 192000u, 0xffffffffu}) {
    interface.configuration.sampleRate = rate;
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
    interface.digitalInput.lockState = lockState;
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
  interface.digitalInput.rate = 96000;
  const std::map<std::uint32_t, std::string> texts = {
      {0, "no signal"},    {1, "no valid signal"}, {2, "valid 96 kHz"},
      {3, "muted 96 kHz"}, {4, "no signal"},       {0xffffffff, "no signal"}};
  for (const auto& [lockState, lockText] : texts) {
    interface.digitalInput.lockState = lockState;
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
    interface.digitalInput.rate = rate;
    EXPECT_EQ(shown(kInfoDigitalInputStatus), text(rateText));
  }
}

TEST_F(Status, AMutedRateIsGivenInTheSameWay) {
  interface.digitalInput.lockState = 3;
  interface.digitalInput.rate = 176400;
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

TEST_F(Status, AnOutputFormatThatCannotBeReadIsSentAsMinusOne) {
  interface.deaf = {VQ_Command::kGetDigitalOutMode};
  EXPECT_EQ(shown(kInfoDigitalOutputFormat), item(-1));
}

TEST_F(Status, WithoutTheRoutingFlagTheMenusAreHiddenAndNotAskedFor) {
  _ioShowRoutingMenus = false;
  EXPECT_EQ(shown(kInfoRoutingMenus), kHidden);
  EXPECT_EQ(shown(kInfoInputRouting), "nothing");
  EXPECT_EQ(shown(kInfoOutputRouting), "nothing");
}

TEST_F(Status, RoutingsThatTheDriverDoesNotPublishAreSentAsMinusOne) {
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

// The clock source is read again after the mode was shown: it may have changed meanwhile.
TEST_F(Status, WhereTheUsb1FlagIsSetTheMenuFollowsTheClockSourceOfThatMoment) {
  struct Case {
    std::uint32_t before, after;
    std::string call;
  };
  _ioShowUSB1Mode = true;
  const std::string mode = call(kInfoUsb1ModeInputSelection, item(1));
  for (const Case& clock :
       {Case{2, 1, "EnableUSB1Mode false"}, Case{1, 2, "EnableUSB1Mode true"}}) {
    interface.clockSource = clock.before;
    panel.onCall = [&](const std::string& shown) {
      if (shown == mode) interface.clockSource = clock.after;
    };
    EXPECT_THAT(gathered(), Contains(clock.call));
  }
}

TEST_F(Status, WithoutADeviceTheUsb1FlagIsClearedBeforeThePanelIsTold) {
  IOTerm();
  _ioShowUSB1Mode = true;
  panel.onCall = [](const std::string&) { EXPECT_FALSE(_ioShowUSB1Mode); };
  IOSetData();
  EXPECT_FALSE(_ioShowUSB1Mode);
}

TEST_F(Status, ADeviceThatAnswersNothingIsStillShown) {
  for (std::uint32_t command = 0; command < 100; ++command)
    interface.deaf.push_back(VQ_Command{command});
  const auto calls = gathered();
  EXPECT_EQ(calls.front(), "ShowInfo 5 true 0 \"VX-310\"");
  EXPECT_EQ(calls.back(), "Invalidate true");
}

}  // namespace
