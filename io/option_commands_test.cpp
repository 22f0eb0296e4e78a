// SPDX-License-Identifier: MIT
#include "io/option_commands.h"

#include "io/testing/io_test.h"
#include "settings/osx_asio_registry.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OptionCommands : public IoTest {
 protected:
  void connect() {
    interface.publish();
    start();
  }

  // The driver's stored setting `key`.
  static std::string stored(const char* key) {
    const CFDictionary settings = memory_preferences::storedValues(DEVICE_HAL_DOMAIN);
    const auto* text = CFDictionaryGet<std::string>(settings, key);
    return text ? *text : "none";
  }
};

TEST_F(OptionCommands, WithoutADeviceEveryQueryGivesMinusOne) {
  start();
  for (auto* query : {getUSB1Mode, GetSampleClockSource, GetDigitalOutFormat, GetLineOut,
                      GetDigitalOut, GetChannel1and2, GetChannel3and4, GetChannel5and6}) {
    EXPECT_EQ(query(), -1);
  }
}

TEST_F(OptionCommands, EachQueryAsksTheDevice) {
  interface.usb1Mode = 3;
  interface.digitalOutMode = 4;
  interface.routings = {{"RoutingOut0", 10},
                        {"RoutingOut1", 11},
                        {"RoutingIn0", 12},
                        {"RoutingIn1", 13},
                        {"RoutingIn2", 14}};
  connect();
  EXPECT_EQ(getUSB1Mode(), 3);
  EXPECT_EQ(GetDigitalOutFormat(), 4);
  EXPECT_EQ(GetLineOut(), 10);
  EXPECT_EQ(GetDigitalOut(), 11);
  EXPECT_EQ(GetChannel1and2(), 12);
  EXPECT_EQ(GetChannel3and4(), 13);
  EXPECT_EQ(GetChannel5and6(), 14);
}

TEST_F(OptionCommands, TheClockQueryIsOneForTheInternalClockAndZeroForEveryOther) {
  connect();
  interface.clockSource = 1;
  EXPECT_EQ(GetSampleClockSource(), 1);
  for (const std::uint32_t source : {0u, 2u, 3u}) {
    interface.clockSource = source;
    EXPECT_EQ(GetSampleClockSource(), 0) << source;
  }
  interface.deaf = {VQ_Command::kGetCurrentClockSource};
  EXPECT_EQ(GetSampleClockSource(), 0);
}

TEST_F(OptionCommands, TheClockReadbackShowsTheMenuWithADevice) {
  connect();
  interface.clockSource = 1;
  SampleClockSourceReadback();
  interface.clockSource = 2;
  SampleClockSourceReadback();
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 10 true 1 \"\"", "ShowInfo 10 true 0 \"\""));
}

TEST_F(OptionCommands, TheClockReadbackHidesTheMenuWithoutADevice) {
  start();
  SampleClockSourceReadback();
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 10 false 0 \"\""));
}

TEST_F(OptionCommands, ThePerformanceMenuIsAlwaysHidden) {
  start();
  AudioPerformanceReadback();
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 12 false 0 \"\""));
  interface.publish();
  happened();
  AudioPerformanceReadback();
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 12 false 0 \"\""));
}

TEST_F(OptionCommands, TheClockSourceIsSetShownAndStored) {
  interface.clockSource = 2;
  connect();
  SampleClockSource(1);
  EXPECT_EQ(interface.clockSource, 1u);
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 10 true 1 \"\""));
  EXPECT_EQ(stored("ClockSource"), "1");
  panel.calls.clear();
  SampleClockSource(0);
  EXPECT_EQ(interface.clockSource, 0u);
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 10 true 0 \"\""));
  EXPECT_EQ(stored("ClockSource"), "0");
}

TEST_F(OptionCommands, AnyOtherClockIndexSetsNothingButShowsAndStoresThePresentSource) {
  interface.clockSource = 1;
  connect();
  for (const std::int32_t value : {2, 3, -1}) {
    interface.sequence.clear();
    panel.calls.clear();
    SampleClockSource(value);
    EXPECT_THAT(interface.sequence, ElementsAre(VQ_Command::kGetCurrentClockSource,
                                                VQ_Command::kGetCurrentClockSource));
    EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 10 true 1 \"\""));
    EXPECT_EQ(stored("ClockSource"), "1");
  }
}

TEST_F(OptionCommands, TheAutomaticClockIsStoredAsTheSourceThatTheDeviceChose) {
  interface.clockSource = 2;
  connect();
  interface.ignoresSettings = true;
  SampleClockSource(0);
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 10 true 0 \"\""));
  EXPECT_EQ(stored("ClockSource"), "2");
}

TEST_F(OptionCommands, TheOutputFormatIsSetShownAndStored) {
  connect();
  interface.sequence.clear();
  DigitalOutputFormat(4);
  EXPECT_THAT(interface.sequence,
              ElementsAre(VQ_Command::kSetDigitalOutMode, VQ_Command::kGetDigitalOutMode,
                          VQ_Command::kGetDigitalOutMode));
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 11 true 4 \"\""));
  EXPECT_EQ(stored("DigitalOutMode"), "4");
}

TEST_F(OptionCommands, TheUsb1SelectionIsTheDigitalOutSelectorSetShownAndStored) {
  connect();
  interface.sequence.clear();
  Usb11Mode(5);
  EXPECT_THAT(interface.sequence,
              ElementsAre(VQ_Command::kSetDigitalOutSelector, VQ_Command::kGetDigitalOutSelector,
                          VQ_Command::kGetDigitalOutSelector));
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 9 true 5 \"\""));
  EXPECT_EQ(stored("DigitalOutSel"), "5");
  EXPECT_EQ(stored("USB1Mode"), "none");
}

TEST_F(OptionCommands, ADeviceThatIgnoresAnOptionIsShownAndStoredAsItIs) {
  connect();
  interface.ignoresSettings = true;
  DigitalOutputFormat(7);
  Usb11Mode(7);
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 11 true 1 \"\"", "ShowInfo 9 true 1 \"\""));
  EXPECT_EQ(stored("DigitalOutMode"), "1");
  EXPECT_EQ(stored("DigitalOutSel"), "1");
}

TEST_F(OptionCommands, ADeviceThatRefusesAnOptionIsShownAndStoredAsItIs) {
  interface.clockSource = 2;
  connect();
  interface.refusesSettings = true;
  SampleClockSource(1);
  DigitalOutputFormat(7);
  Usb11Mode(7);
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 10 true 0 \"\"", "ShowInfo 11 true 1 \"\"",
                                       "ShowInfo 9 true 1 \"\""));
  EXPECT_EQ(stored("ClockSource"), "2");
  EXPECT_EQ(stored("DigitalOutMode"), "1");
  EXPECT_EQ(stored("DigitalOutSel"), "1");
}

TEST_F(OptionCommands, OptionsDoNothingWithoutADevice) {
  start();
  SampleClockSource(1);
  DigitalOutputFormat(1);
  Usb11Mode(1);
  EXPECT_THAT(panel.calls, IsEmpty());
  EXPECT_THAT(memory_preferences::storedValues(DEVICE_HAL_DOMAIN), IsEmpty());
}

// The store writes a value at once, once more for the command, and its version at its end.
TEST_F(OptionCommands, AnOptionIsWrittenToTheSettingsInTheseSteps) {
  memory_preferences::storeFromOutside("Version", CFValue("1.0"), DEVICE_HAL_DOMAIN);
  connect();
  struct Case {
    void (*command)(std::int32_t);
    std::string set;
  };
  for (const Case& expected :
       {Case{SampleClockSource, "set ClockSource"}, Case{DigitalOutputFormat, "set DigitalOutMode"},
        Case{Usb11Mode, "set DigitalOutSel"}}) {
    const std::size_t before = memory_preferences::operations().size();
    expected.command(1);
    const auto& all = memory_preferences::operations();
    EXPECT_THAT(
        std::vector(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()),
        ElementsAre(expected.set, "synchronize", "synchronize", "set Version", "synchronize"));
  }
}

TEST_F(OptionCommands, SettingsThatCannotBeStoredChangeNothingElse) {
  connect();
  memory_preferences::failNextSynchronize(100);
  DigitalOutputFormat(3);
  EXPECT_EQ(interface.digitalOutMode, 3u);
  EXPECT_THAT(panel.calls, ElementsAre("ShowInfo 11 true 3 \"\""));
  memory_preferences::failNextSynchronize(0);
}

TEST_F(OptionCommands, EachRoutingCommandWritesItsRouting) {
  const AudioObjectID audioDevice =
      memory_audio_server::addDevice("VX-310", {.records = memory_audio_server::defaultRecords()});
  _halDevice = audioDevice;
  struct Case {
    std::int32_t (*command)(std::int32_t);
    RoutingRecord written;
  };
  for (const Case& expected :
       {Case{DoLine12Out, {0, 0, 1}}, Case{DoLineOut, {0, 0, 2}}, Case{DoLine34Out, {0, 1, 1}},
        Case{DoDigitalOut, {0, 1, 2}}, Case{DoChannel1and2, {1, 0, 1}},
        Case{DoChannel3and4, {1, 1, 2}}, Case{DoChannel5and6, {1, 2, 3}}}) {
    EXPECT_EQ(expected.command(expected.written.value), 1);
    EXPECT_THAT(memory_audio_server::routingProperty(audioDevice)->records,
                testing::Contains(expected.written));
  }
}

TEST_F(OptionCommands, ARoutingCommandNeedsNoCurrentDeviceButTheAudioDevice) {
  start();
  EXPECT_EQ(DoLineOut(1), 0);
  _halDevice =
      memory_audio_server::addDevice("VX-310", {.records = memory_audio_server::defaultRecords()});
  EXPECT_EQ(DoLineOut(1), 1);
}

}  // namespace
