// SPDX-License-Identifier: MIT
#include <cstring>

#include "app/testing/controller_test.h"
#include "protocol/dispatch.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Menus : public ControllerTest {
 protected:
  Menus() {
    load();
    controller->awakeFromNib();
  }
  ~Menus() override {
    if (running_) controller->applicationWillTerminate();
  }

  // The panel runs with the interface and its audio device connected; what that did is forgotten.
  void connect() {
    memory_audio_server::RoutingProperty routing;
    routing.records = memory_audio_server::defaultRecords();
    audioDevice_ = memory_audio_server::addDevice("VX-310", routing);
    interface.publish();
    controller->applicationDidFinishLaunching();
    running_ = true;
    for (const char* menu : kMenus) control(menu).hidden = !(control(menu).enabled = true);
    forget();
  }
  void forget() {
    interface.sequence.clear();
    recording_toolkit::clearLog();
    written_ = writes().size();
  }

  // The routing records that were sent, since connect() forgot.
  std::vector<RoutingRecord> sent() {
    const auto all = writes();
    return {all.begin() + static_cast<std::ptrdiff_t>(written_), all.end()};
  }

  int choice(const char* key) { return CFNumberGetValue<int>(storedChoices(), key).value_or(-99); }

  static constexpr const char* kMenus[] = {
      "KvIoRInCh1And2Menu",           "KvIoRInCh3And4Menu",
      "KvIoRInCh5And6Menu",           "KvIoROutLineMenu",
      "KvIoROutDigitalMenu",          "KvSampleClockSourceMenu",
      "KvUsb1ModeInputSelectionMenu", "KvDigitalOutputFormatMenu",
      "KvCoreAudioPerformanceMenu"};

  ScriptedInterface interface;
  AudioObjectID audioDevice_ = 0;

 private:
  static std::vector<RoutingRecord> writes() {
    std::vector<RoutingRecord> records;
    for (const auto& call : memory_audio_server::calls()) {
      if (call.operation != memory_audio_server::Operation::kSetData) continue;
      RoutingRecord record;
      std::memcpy(&record, call.data.data(), sizeof record);
      records.push_back(record);
    }
    return records;
  }
  bool running_ = false;
  std::size_t written_ = 0;
};

// In FoundHardware, in microseconds.
constexpr unsigned kSettlingPause = 400'000;

// Lines of a log in which everything stands in one order.
std::string line(VQ_Command request) {
  return "request " + std::to_string(static_cast<std::uint32_t>(request));
}
std::string line(const RoutingRecord& record) {
  return (record.input != 0 ? "input " : "output ") + std::to_string(record.pair) + " from " +
         std::to_string(record.value);
}

// Picking -----------------------------------------------------------------------------------------

TEST_F(Menus, ARoutingPickIsSentToTheAudioDeviceAndStored) {
  connect();
  struct Case {
    const char* menu;
    const char* key;
    RoutingRecord record;
  };
  const Case cases[] = {{"KvIoRInCh1And2Menu", "In12", {1, 0, 3}},
                        {"KvIoRInCh3And4Menu", "In34", {1, 1, 2}},
                        {"KvIoRInCh5And6Menu", "In56", {1, 2, 1}},
                        {"KvIoROutLineMenu", "Out12", {0, 0, 1}},
                        {"KvIoROutDigitalMenu", "Out34", {0, 1, 2}}};
  for (const Case& each : cases) {
    forget();
    ASSERT_TRUE(recording_toolkit::pickItem(each.menu, each.record.value));
    EXPECT_THAT(sent(), ElementsAre(each.record)) << each.menu;
    EXPECT_EQ(choice(each.key), each.record.value) << each.menu;
    EXPECT_THAT(operations(), IsEmpty()) << each.menu;
    EXPECT_THAT(interface.sequence, IsEmpty()) << each.menu;
  }
}

TEST_F(Menus, LineOutputMenusForEachPairShareTheChoicesOfTheLineAndTheDigitalOutput) {
  connect();
  control("KvIoROutLineMenu").selectedItem = 4;
  controller->doLine12Out(controller->KvIoROutLineMenu);
  EXPECT_EQ(choice("Out12"), 4);
  control("KvIoROutLineMenu").selectedItem = 3;
  controller->doLine34Out(controller->KvIoROutLineMenu);
  EXPECT_EQ(choice("Out34"), 3);
  EXPECT_EQ(choice("Out12"), 4);
  EXPECT_THAT(sent(), ElementsAre(RoutingRecord{0, 0, 4}, RoutingRecord{0, 1, 3}));
}

TEST_F(Menus, ThePickedClockSourceIsSentReadBackAndStored) {
  connect();
  ASSERT_TRUE(recording_toolkit::pickItem("KvSampleClockSourceMenu", 1));
  EXPECT_EQ(interface.clockSource, 1u);
  EXPECT_THAT(interface.sequence,
              ElementsAre(VQ_Command::kSetClockSource, VQ_Command::kGetCurrentClockSource,
                          VQ_Command::kGetCurrentClockSource));
  EXPECT_EQ(choice("ClockSource"), 1);
  EXPECT_THAT(operations(), ElementsAre("KvSampleClockSourceMenu.setEnabled yes",
                                        "KvSampleClockSourceMenu.selectItemAtIndex 1",
                                        "KvSampleClockSourceMenu.setHidden no",
                                        "KvSampleClockSourceTitle.setHidden no"));
}

TEST_F(Menus, ThePickedOutputFormatIsSentReadBackAndStored) {
  connect();
  ASSERT_TRUE(recording_toolkit::pickItem("KvDigitalOutputFormatMenu", 1));
  EXPECT_EQ(interface.digitalOutMode, 1u);
  EXPECT_THAT(interface.sequence,
              ElementsAre(VQ_Command::kSetDigitalOutMode, VQ_Command::kGetDigitalOutMode,
                          VQ_Command::kGetDigitalOutMode));
  EXPECT_EQ(choice("DigOutFormat"), 1);
  EXPECT_THAT(operations(), ElementsAre("KvDigitalOutputFormatMenu.setEnabled yes",
                                        "KvDigitalOutputFormatMenu.selectItemAtIndex 1",
                                        "KvDigitalOutputFormatMenu.setHidden no",
                                        "KvDigitalOutputFormatTitle.setHidden no"));
}

TEST_F(Menus, ThePickedInputOfUsb1IsSentReadBackAndStored) {
  connect();
  ASSERT_TRUE(recording_toolkit::pickItem("KvUsb1ModeInputSelectionMenu", 1));
  EXPECT_EQ(interface.digitalOutSelector, 1u);
  EXPECT_THAT(interface.sequence,
              ElementsAre(VQ_Command::kSetDigitalOutSelector, VQ_Command::kGetDigitalOutSelector,
                          VQ_Command::kGetDigitalOutSelector));
  EXPECT_EQ(choice("USB11Mode"), 1);
  EXPECT_THAT(operations(), ElementsAre("KvUsb1ModeInputSelectionMenu.setEnabled yes",
                                        "KvUsb1ModeInputSelectionMenu.setHidden no",
                                        "KvUsb1ModeInputSelectionMenu.selectItemAtIndex 1",
                                        "KvUsb1ModeInputSelectionTitle.setHidden no"));
}

TEST_F(Menus, ThePickedPerformanceIsOnlyStored) {
  connect();
  ASSERT_TRUE(recording_toolkit::pickItem("KvCoreAudioPerformanceMenu", 2));
  EXPECT_EQ(choice("AudioPerformance"), 2);
  EXPECT_THAT(operations(), IsEmpty());
  EXPECT_THAT(interface.sequence, IsEmpty());
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Menus, AnOptionActionReadsItsOwnMenuWhateverTheSender) {
  connect();
  control("KvSampleClockSourceMenu").selectedItem = 1;
  control("KvDigitalOutputFormatMenu").selectedItem = 1;
  control("KvUsb1ModeInputSelectionMenu").selectedItem = 1;
  control("KvCoreAudioPerformanceMenu").selectedItem = 1;
  controller->doSampleClockSource(controller->Help);
  controller->doDigitalOutputFormat(controller->Help);
  controller->doUsb1ModeInputSelection(controller->Help);
  controller->doCoreAudioPerformance(controller->Help);
  for (const char* key : {"ClockSource", "DigOutFormat", "USB11Mode", "AudioPerformance"}) {
    EXPECT_EQ(choice(key), 1) << key;
  }
}

TEST_F(Menus, ADeviceThatIgnoresASettingShowsItsOwnAndThePickIsKept) {
  interface.digitalOutMode = 0;
  connect();
  interface.ignoresSettings = true;
  recording_toolkit::pickItem("KvDigitalOutputFormatMenu", 1);
  EXPECT_EQ(control("KvDigitalOutputFormatMenu").selectedItem, 0);
  EXPECT_EQ(choice("DigOutFormat"), 1);
}

TEST_F(Menus, ADeviceThatRefusesASettingShowsItsOwnAndThePickIsKept) {
  connect();
  interface.digitalOutMode = 0;
  interface.refusesSettings = true;
  recording_toolkit::pickItem("KvDigitalOutputFormatMenu", 1);
  EXPECT_EQ(control("KvDigitalOutputFormatMenu").selectedItem, 0);
  EXPECT_EQ(choice("DigOutFormat"), 1);
}

TEST_F(Menus, APickWithoutADeviceIsStored) {
  for (const char* menu : kMenus) control(menu).hidden = !(control(menu).enabled = true);
  recording_toolkit::clearLog();
  recording_toolkit::pickItem("KvSampleClockSourceMenu", 1);
  recording_toolkit::pickItem("KvIoRInCh1And2Menu", 2);
  EXPECT_EQ(choice("ClockSource"), 1);
  EXPECT_EQ(choice("In12"), 2);
  EXPECT_THAT(operations(), IsEmpty());
}

TEST_F(Menus, APickThatCannotBeStoredStillReachesTheDevice) {
  connect();
  memory_preferences::failNextSynchronize(1000);
  recording_toolkit::pickItem("KvIoROutLineMenu", 2);
  EXPECT_THAT(sent(), ElementsAre(RoutingRecord{0, 0, 2}));
  EXPECT_EQ(choice("Out12"), 0);
  memory_preferences::failNextSynchronize(0);
  controller->savePrefs();
  EXPECT_EQ(choice("Out12"), 2);
}

TEST_F(Menus, AMenuWithNothingSelectedGivesMinusOneUnchanged) {
  connect();
  control("KvIoROutLineMenu").selectedItem = -1;
  controller->doLineOut(controller->KvIoROutLineMenu);
  EXPECT_THAT(sent(), ElementsAre(RoutingRecord{0, 0, -1}));
  EXPECT_EQ(choice("Out12"), -1);
}

TEST_F(Menus, ARoutingPickWhileTheAudioServerIsAwayIsStored) {
  connect();
  memory_audio_server::stopServer();
  recording_toolkit::pickItem("KvIoROutLineMenu", 2);
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(choice("Out12"), 2);
}

// Applying ----------------------------------------------------------------------------------------

std::vector<std::string> selectedInOrder(const std::vector<int>& items) {
  const char* menus[] = {
      "KvUsb1ModeInputSelectionMenu", "KvDigitalOutputFormatMenu", "KvIoROutLineMenu",
      "KvIoROutDigitalMenu",          "KvIoRInCh1And2Menu",        "KvIoRInCh3And4Menu",
      "KvIoRInCh5And6Menu",           "KvSampleClockSourceMenu",   "KvCoreAudioPerformanceMenu"};
  std::vector<std::string> log;
  for (std::size_t i = 0; i < items.size(); ++i) {
    log.push_back(menus[i] + std::string(".selectItemAtIndex ") + std::to_string(items[i]));
  }
  return log;
}

TEST_F(Menus, TheStoredChoicesAreShownInAFixedOrder) {
  controller->setPrefsDictionaryWithValues(5, 6, 7, 3, 4, 2, 8, 9, 1);
  recording_toolkit::clearLog();
  controller->InitRoutingValuesAndSet(false);
  EXPECT_EQ(operations(), selectedInOrder({1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(Menus, ChoicesThatAreOnlyShownAreNotSent) {
  connect();
  controller->InitRoutingValuesAndSet(false);
  EXPECT_THAT(interface.sequence, IsEmpty());
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Menus, ChoicesAreSentInTheSameOrderEachBeforeItsMenuIsSelected) {
  connect();
  controller->setPrefsDictionaryWithValues(5, 6, 7, 3, 4, 2, 1, 9, 8);
  // Requests and routings are noted when the next operation comes, of which each has its own.
  Log log;
  std::size_t requests = 0;
  std::size_t routings = 0;
  recording_toolkit::onOperation([&](const std::string& operation) {
    for (; requests < interface.sequence.size(); ++requests) {
      log.push_back(line(interface.sequence[requests]));
    }
    for (; routings < sent().size(); ++routings) log.push_back(line(sent()[routings]));
    log.push_back(operation);
  });
  controller->InitRoutingValuesAndSet(true);
  recording_toolkit::onOperation({});
  EXPECT_EQ(log, (Log{line(VQ_Command::kSetDigitalOutSelector),
                      line(VQ_Command::kGetDigitalOutSelector),
                      "KvUsb1ModeInputSelectionMenu.setEnabled yes",
                      "KvUsb1ModeInputSelectionMenu.setHidden no",
                      "KvUsb1ModeInputSelectionMenu.selectItemAtIndex 8",
                      "KvUsb1ModeInputSelectionTitle.setHidden no",
                      line(VQ_Command::kGetDigitalOutSelector),
                      "KvUsb1ModeInputSelectionMenu.selectItemAtIndex 8",
                      line(VQ_Command::kSetDigitalOutMode),
                      line(VQ_Command::kGetDigitalOutMode),
                      "KvDigitalOutputFormatMenu.setEnabled yes",
                      "KvDigitalOutputFormatMenu.selectItemAtIndex 2",
                      "KvDigitalOutputFormatMenu.setHidden no",
                      "KvDigitalOutputFormatTitle.setHidden no",
                      line(VQ_Command::kGetDigitalOutMode),
                      "KvDigitalOutputFormatMenu.selectItemAtIndex 2",
                      line(RoutingRecord{0, 0, 3}),
                      "KvIoROutLineMenu.selectItemAtIndex 3",
                      line(RoutingRecord{0, 1, 4}),
                      "KvIoROutDigitalMenu.selectItemAtIndex 4",
                      line(RoutingRecord{1, 0, 5}),
                      "KvIoRInCh1And2Menu.selectItemAtIndex 5",
                      line(RoutingRecord{1, 1, 6}),
                      "KvIoRInCh3And4Menu.selectItemAtIndex 6",
                      line(RoutingRecord{1, 2, 7}),
                      "KvIoRInCh5And6Menu.selectItemAtIndex 7",
                      line(VQ_Command::kSetClockSource),
                      line(VQ_Command::kGetCurrentClockSource),
                      "KvSampleClockSourceMenu.setEnabled yes",
                      "KvSampleClockSourceMenu.selectItemAtIndex 1",
                      "KvSampleClockSourceMenu.setHidden no",
                      "KvSampleClockSourceTitle.setHidden no",
                      line(VQ_Command::kGetCurrentClockSource),
                      "KvSampleClockSourceMenu.selectItemAtIndex 1",
                      "KvCoreAudioPerformanceMenu.selectItemAtIndex 9"}));
}

TEST_F(Menus, WithEmptyPreferencesZeroIsSentForEachChoice) {
  connect();
  for (const auto& [key, value] : storedChoices()) {
    CFPreferencesSetAppValue(key, std::nullopt, CFBundleGetIdentifier());
  }
  interface.digitalOutMode = interface.digitalOutSelector = interface.clockSource = 7;
  controller->InitRoutingValuesAndSet(true);
  EXPECT_EQ(interface.digitalOutSelector, 0u);
  EXPECT_EQ(interface.digitalOutMode, 0u);
  EXPECT_EQ(interface.clockSource, 0u);
  EXPECT_THAT(sent(),
              ElementsAre(RoutingRecord{0, 0, 0}, RoutingRecord{0, 1, 0}, RoutingRecord{1, 0, 0},
                          RoutingRecord{1, 1, 0}, RoutingRecord{1, 2, 0}));
}

TEST_F(Menus, AMissingChoiceCountsAsItemZero) {
  CFPreferencesSetAppValue("In34", std::nullopt, CFBundleGetIdentifier());
  control("KvIoRInCh3And4Menu").selectedItem = 3;
  controller->InitRoutingValuesAndSet(false);
  EXPECT_EQ(control("KvIoRInCh3And4Menu").selectedItem, 0);
}

TEST_F(Menus, ChoicesOutsideTheItemsAreSentAsTheyAreAndSelectNothing) {
  connect();
  controller->setPrefsDictionaryWithValues(99, -5, 0, 0, 0, 0, 0, 0, 0);
  controller->InitRoutingValuesAndSet(true);
  EXPECT_THAT(sent(), testing::IsSupersetOf({RoutingRecord{1, 0, 99}, RoutingRecord{1, 1, -5}}));
  EXPECT_EQ(control("KvIoRInCh1And2Menu").selectedItem, -1);
  EXPECT_EQ(control("KvIoRInCh3And4Menu").selectedItem, -1);
}

TEST_F(Menus, AnArrivalAppliesTheChoicesAfterThePause) {
  controller->setPrefsDictionaryWithValues(3, 3, 3, 4, 4, 1, 1, 0, 1);
  interface.clockSource = interface.digitalOutMode = interface.digitalOutSelector = 0;
  recording_toolkit::clearLog();
  int pauses = 0;
  memory_clock::onPause([&](unsigned microseconds) {
    if (microseconds != kSettlingPause) return;
    ++pauses;
    EXPECT_EQ(interface.clockSource, 0u);
    EXPECT_EQ(interface.digitalOutMode, 0u);
    EXPECT_EQ(interface.digitalOutSelector, 0u);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_THAT(recording_toolkit::log(), testing::Not(Contains(HasSubstr("selectItemAtIndex"))));
  });
  connect();
  memory_clock::onPause({});
  EXPECT_EQ(pauses, 1);
  EXPECT_EQ(interface.clockSource, 1u);
  EXPECT_EQ(interface.digitalOutMode, 1u);
  EXPECT_EQ(interface.digitalOutSelector, 1u);
  EXPECT_EQ(memory_audio_server::routingProperty(audioDevice_)->records[0].value, 4);
}

// The device's state ------------------------------------------------------------------------------

TEST_F(Menus, TheDevicesStateBecomesTheChoicesWithThePerformanceReset) {
  interface.routings = {{"RoutingOut0", 4},
                        {"RoutingOut1", 3},
                        {"RoutingIn0", 2},
                        {"RoutingIn1", 1},
                        {"RoutingIn2", 3}};
  connect();
  CFPreferencesSetAppValue("AudioPerformance", 2, CFBundleGetIdentifier());
  interface.digitalOutMode = 1;
  interface.clockSource = 1;
  interface.usb1Mode = 6;
  testing::internal::CaptureStdout();
  controller->GetRoutingValues();
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "getRouting RoutingIn0 returns: 2\n"
            "getRouting RoutingIn1 returns: 1\n"
            "getRouting RoutingIn2 returns: 3\n"
            "getRouting RoutingOut0 returns: 4\n"
            "getRouting RoutingOut1 returns: 3\n");
  EXPECT_EQ(storedChoices(), (CFDictionary{{"In12", 2},
                                           {"In34", 1},
                                           {"In56", 3},
                                           {"Out12", 4},
                                           {"Out34", 3},
                                           {"DigOutFormat", 1},
                                           {"ClockSource", 1},
                                           {"AudioPerformance", 0},
                                           {"USB11Mode", 6},
                                           {"Version", "1.00"}}));
  EXPECT_EQ(operations(), selectedInOrder({6, 1, 4, 3, 2, 1, 3, 1, 0}));
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_THAT(interface.sequence,
              ElementsAre(VQ_Command::kGetDigitalOutMode, VQ_Command::kGetCurrentClockSource,
                          VQ_Command::kGetUSB1Mode));
}

TEST_F(Menus, WithoutADeviceTheChoicesBecomeMinusOne) {
  controller->GetRoutingValues();
  EXPECT_EQ(choice("In12"), -1);
  EXPECT_EQ(choice("USB11Mode"), -1);
  EXPECT_EQ(choice("AudioPerformance"), 0);
}

TEST_F(Menus, TheRoutingsArePrintedOnRequest) {
  interface.routings = {{"RoutingOut0", 4},
                        {"RoutingOut1", 3},
                        {"RoutingIn0", 2},
                        {"RoutingIn1", 1},
                        {"RoutingIn2", 0}};
  connect();
  interface.digitalOutMode = 1;
  testing::internal::CaptureStdout();
  controller->doGetRoutingValues(controller->Help);
  std::fflush(stdout);
  EXPECT_THAT(testing::internal::GetCapturedStdout(),
              testing::EndsWith("Config In: 2 1 0, Out: 4 3 Format: 1\n"));
  EXPECT_THAT(operations(), IsEmpty());
}

// Layout and bits ---------------------------------------------------------------------------------

TEST_F(Menus, ThePerformanceMenuAndItsLabelMoveToTheLeftAndToTheCentre) {
  control("KvCoreAudioPerformanceMenu").frame = {{50, 20}, {120, 22}};
  control("KvCoreAudioPerformanceTitle").frame = {{40, 60}, {90, 16}};
  recording_toolkit::clearLog();
  controller->setLeftLatencyWidgets();
  EXPECT_THAT(operations(),
              ElementsAre("KvCoreAudioPerformanceMenu.setFrame (13, 20) 120x22",
                          "KvCoreAudioPerformanceTitle.setFrame (13, 60) 90x16", "window.display"));
  controller->setCenterLatencyWidgets();
  EXPECT_THAT(operations(), ElementsAre("KvCoreAudioPerformanceMenu.setFrame (130, 20) 120x22",
                                        "KvCoreAudioPerformanceTitle.setFrame (130, 60) 90x16",
                                        "window.display"));
  EXPECT_EQ(control("KvCoreAudioPerformanceMenu").frame, (NSRect{{130, 20}, {120, 22}}));
  EXPECT_EQ(control("KvCoreAudioPerformanceTitle").frame, (NSRect{{130, 60}, {90, 16}}));
}

TEST_F(Menus, ABitOfAByteIsSetOrCleared) {
  const auto with = [&](std::int32_t bit, std::uint8_t byte, std::int32_t value) {
    controller->setBitOfByteTo(bit, &byte, value);
    return int{byte};
  };
  EXPECT_EQ(with(3, 0x00, 5), 0x08);
  EXPECT_EQ(with(3, 0xFF, 0), 0xF7);
  EXPECT_EQ(with(0, 0x00, -1), 0x01);
  EXPECT_EQ(with(7, 0x00, 1), 0x80);
  for (const std::int32_t bit : {8, 9, 31}) {
    EXPECT_EQ(with(bit, 0x5A, 1), 0x5A) << bit;
    EXPECT_EQ(with(bit, 0x5A, 0), 0x5A) << bit;
  }
  EXPECT_EQ(with(32, 0x00, 1), 0x01);
  EXPECT_EQ(with(-1, 0x5A, 1), 0x5A);
}

}  // namespace
