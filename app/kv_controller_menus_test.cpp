// SPDX-License-Identifier: MIT
#include <cstring>

#include "app/panel_tables.h"
#include "app/testing/controller_test.h"
#include "protocol/dispatch.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class Menus : public ControllerTest {
 protected:
  Menus() {
    load();
    controller->awakeFromNib();
  }
  ~Menus() override {
    if (running_) controller->applicationWillTerminate();
  }

  // Starts the panel with the interface and its audio device connected, makes every menu usable,
  // and clears the logs.
  void connect() {
    memory_audio_server::RoutingProperty routing;
    routing.records = memory_audio_server::defaultRecords();
    audioDevice_ = memory_audio_server::addDevice("VX-310", routing);
    interface.publish();
    controller->applicationDidFinishLaunching();
    running_ = true;
    makeMenusUsable();
    forget();
  }
  static void makeMenusUsable() {
    for (const PanelMenu& row : kPanelMenus) {
      control(row.menu.name).hidden = false;
      control(row.menu.name).enabled = true;
    }
  }
  // Clears the logs of requests, operations and routing records.
  void forget() {
    interface.sequence.clear();
    recording_toolkit::clearLog();
    written_ = writes().size();
  }

  // The routing records sent since the last forget().
  std::vector<RoutingRecord> sent() {
    const auto all = writes();
    return {all.begin() + static_cast<std::ptrdiff_t>(written_), all.end()};
  }

  int choice(const char* key) { return CFNumberGetValue<int>(storedChoices(), key).value_or(-99); }

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

// The pause of FoundHardware, in microseconds.
constexpr unsigned kSettlingPause = 400'000;

// Lines of a log that holds requests, routing records and operations in their order.
std::string line(VQ_Command request) {
  return "request " + std::to_string(static_cast<std::uint32_t>(request));
}
std::string line(const RoutingRecord& record) {
  return (record.input != 0 ? "input " : "output ") + std::to_string(record.pair) + " from " +
         std::to_string(record.value);
}

// Two menus with the same turn would be applied in an order that nothing says.
TEST_F(Menus, EachMenuHasATurnOfItsOwn) {
  std::vector<int> turns;
  for (const PanelMenu& row : kPanelMenus) turns.push_back(row.turn);
  EXPECT_THAT(turns, UnorderedElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
}

// Picking -----------------------------------------------------------------------------------------

TEST_F(Menus, PickingARoutingSendsItToTheAudioDeviceAndStoresIt) {
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

TEST_F(Menus, TheActionsForLineOutputPairsStoreUnderTheKeysOfLineAndDigitalOutput) {
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

TEST_F(Menus, PickingAClockSourceSendsReadsBackAndStoresIt) {
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

TEST_F(Menus, PickingAnOutputFormatSendsReadsBackAndStoresIt) {
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

TEST_F(Menus, PickingAUsb1InputSendsReadsBackAndStoresIt) {
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

TEST_F(Menus, PickingAPerformanceOnlyStoresIt) {
  connect();
  ASSERT_TRUE(recording_toolkit::pickItem("KvCoreAudioPerformanceMenu", 2));
  EXPECT_EQ(choice("AudioPerformance"), 2);
  EXPECT_THAT(operations(), IsEmpty());
  EXPECT_THAT(interface.sequence, IsEmpty());
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Menus, APickIsSentBeforeItIsStored) {
  connect();
  const std::size_t before = memory_preferences::operations().size();
  ASSERT_TRUE(recording_toolkit::pickItem("KvDigitalOutputFormatMenu", 1));
  const auto& all = memory_preferences::operations();
  // What the command stores in the driver's settings, then the panel's choice.
  EXPECT_THAT(std::vector(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()),
              ElementsAre("set DigitalOutMode", "synchronize", "synchronize", "set Version",
                          "synchronize", "set DigOutFormat", "synchronize"));
}

TEST_F(Menus, OptionActionsReadTheirOwnMenuAndIgnoreTheSender) {
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

TEST_F(Menus, AnIgnoredSettingShowsTheDevicesValueAndStoresThePick) {
  interface.digitalOutMode = 0;
  connect();
  interface.ignoresSettings = true;
  recording_toolkit::pickItem("KvDigitalOutputFormatMenu", 1);
  EXPECT_EQ(control("KvDigitalOutputFormatMenu").selectedItem, 0);
  EXPECT_EQ(choice("DigOutFormat"), 1);
}

TEST_F(Menus, ARefusedSettingShowsTheDevicesValueAndStoresThePick) {
  connect();
  interface.digitalOutMode = 0;
  interface.refusesSettings = true;
  recording_toolkit::pickItem("KvDigitalOutputFormatMenu", 1);
  EXPECT_EQ(control("KvDigitalOutputFormatMenu").selectedItem, 0);
  EXPECT_EQ(choice("DigOutFormat"), 1);
}

TEST_F(Menus, APickWithoutADeviceIsStored) {
  makeMenusUsable();
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

TEST_F(Menus, AMenuWithoutASelectionSendsAndStoresMinusOne) {
  connect();
  control("KvIoROutLineMenu").selectedItem = -1;
  controller->doLineOut(controller->KvIoROutLineMenu);
  EXPECT_THAT(sent(), ElementsAre(RoutingRecord{0, 0, -1}));
  EXPECT_EQ(choice("Out12"), -1);
}

TEST_F(Menus, ARoutingPickIsStoredWhileTheAudioServerIsDown) {
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

TEST_F(Menus, AnArrivalTakesTheChoicesThatAnotherProgramHasStored) {
  connect();
  memory_preferences::storeFromOutside("Out12", 3, CFBundleGetIdentifier());
  controller->FoundHardware(kHardwareIndexVX310);
  EXPECT_EQ(control("KvIoROutLineMenu").selectedItem, 3);
  EXPECT_EQ(choice("Out12"), 3);
}

TEST_F(Menus, TheStoredChoicesAreShownInAFixedOrder) {
  controller->setPrefsDictionaryWithValues(5, 6, 7, 3, 4, 2, 8, 9, 1);
  recording_toolkit::clearLog();
  controller->InitRoutingValuesAndSet(false);
  EXPECT_EQ(operations(), selectedInOrder({1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(Menus, ShowingTheChoicesSendsNothing) {
  connect();
  controller->InitRoutingValuesAndSet(false);
  EXPECT_THAT(interface.sequence, IsEmpty());
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(Menus, EachChoiceIsSentBeforeItsMenuSelectsItInTheSameOrder) {
  connect();
  controller->setPrefsDictionaryWithValues(5, 6, 7, 3, 4, 2, 1, 9, 8);
  // Each operation first adds the requests and routing records that came before it.
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

TEST_F(Menus, EmptyPreferencesSendItemZeroForEachChoice) {
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

TEST_F(Menus, ChoicesOutOfRangeAreSentUnchangedAndClearTheSelection) {
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

// Reading the device ------------------------------------------------------------------------------

TEST_F(Menus, GetRoutingValuesStoresTheDevicesStateAndResetsThePerformance) {
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
  memory_log::takeOutput();
  controller->GetRoutingValues();
  EXPECT_EQ(memory_log::takeOutput(),
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

TEST_F(Menus, GetRoutingValuesStoresMinusOneWithoutADevice) {
  controller->GetRoutingValues();
  EXPECT_EQ(choice("In12"), -1);
  EXPECT_EQ(choice("USB11Mode"), -1);
  EXPECT_EQ(choice("AudioPerformance"), 0);
}

TEST_F(Menus, DoGetRoutingValuesPrintsTheRoutings) {
  interface.routings = {{"RoutingOut0", 4},
                        {"RoutingOut1", 3},
                        {"RoutingIn0", 2},
                        {"RoutingIn1", 1},
                        {"RoutingIn2", 0}};
  connect();
  interface.digitalOutMode = 1;
  memory_log::takeOutput();
  controller->doGetRoutingValues(controller->Help);
  EXPECT_THAT(memory_log::takeOutput(),
              testing::EndsWith("Config In: 2 1 0, Out: 4 3 Format: 1\n"));
  EXPECT_THAT(operations(), IsEmpty());
}

// Preferences
// --------------------------------------------------------------------------------------

class PanelPreferences : public ControllerTest {
 protected:
  PanelPreferences() { loadQuietly(); }

  static void store(const CFDictionary& values) {
    for (const auto& [key, value] : values) {
      CFPreferencesSetAppValue(key, value, CFBundleGetIdentifier());
    }
    CFPreferencesAppSynchronize(CFBundleGetIdentifier());
  }
};

const CFDictionary kDefaults = {
    {"In12", 0},         {"In34", 1},      {"In56", 2},
    {"Out12", 0},        {"Out34", 1},     {"DigOutFormat", 0},
    {"ClockSource", 0},  {"USB11Mode", 0}, {"AudioPerformance", 0},
    {"Version", "1.00"},
};

CFDictionary otherChoices(CFValue version) {
  return {{"In12", 3},
          {"In34", 3},
          {"In56", 3},
          {"Out12", 3},
          {"Out34", 3},
          {"DigOutFormat", 1},
          {"ClockSource", 1},
          {"USB11Mode", 1},
          {"AudioPerformance", 2},
          {"Version", std::move(version)}};
}

TEST_F(PanelPreferences, TheFirstRunStoresTheDefaults) {
  controller->loadPrefs();
  EXPECT_EQ(storedChoices(), kDefaults);
}

TEST_F(PanelPreferences, ChoicesOfThisVersionAreKept) {
  store(otherChoices("1.00"));
  controller->loadPrefs();
  EXPECT_EQ(storedChoices(), otherChoices("1.00"));
}

TEST_F(PanelPreferences, ChoicesOfAnyOtherVersionAreReplacedByTheDefaults) {
  for (const CFValue& version : {CFValue("1.0"), CFValue("1.000"), CFValue(""), CFValue("1.00 "),
                                 CFValue(1), CFValue(CFData{'1', '.', '0', '0'})}) {
    store(otherChoices(version));
    controller->loadPrefs();
    EXPECT_EQ(storedChoices(), kDefaults);
  }
}

TEST_F(PanelPreferences, AMissingChoiceOfThisVersionIsNotFilledIn) {
  CFDictionary choices = otherChoices("1.00");
  choices.erase("In34");
  store(choices);
  controller->loadPrefs();
  EXPECT_EQ(storedChoices(), choices);
}

TEST_F(PanelPreferences, LoadingTouchesNeitherWindowNorDevice) {
  ScriptedInterface interface;
  interface.publish();
  controller->loadPrefs();
  EXPECT_THAT(operations(), IsEmpty());
  EXPECT_THAT(interface.sequence, IsEmpty());
  EXPECT_THAT(memory_audio_server::calls(), IsEmpty());
}

TEST_F(PanelPreferences, SettingAllChoicesStoresEachUnderItsKey) {
  controller->loadPrefs();
  controller->setPrefsDictionaryWithValues(10, 11, 12, 13, 14, 15, 16, 17, -18);
  EXPECT_EQ(storedChoices(), (CFDictionary{{"In12", 10},
                                           {"In34", 11},
                                           {"In56", 12},
                                           {"Out12", 13},
                                           {"Out34", 14},
                                           {"DigOutFormat", 15},
                                           {"ClockSource", 16},
                                           {"AudioPerformance", 17},
                                           {"USB11Mode", -18},
                                           {"Version", "1.00"}}));
}

TEST_F(PanelPreferences, TerminatingSavesTheChoices) {
  controller->awakeFromNib();
  controller->applicationDidFinishLaunching();
  controller->KvPrefDictionary.setObject(4, "In12");
  controller->applicationWillTerminate();
  EXPECT_EQ(CFNumberGetValue<int>(storedChoices(), "In12"), 4);
}

TEST_F(PanelPreferences, AwakingShowsTheStoredChoices) {
  store(otherChoices("1.00"));
  controller->awakeFromNib();
  EXPECT_EQ(control("KvIoRInCh1And2Menu").selectedItem, 3);
  EXPECT_EQ(control("KvSampleClockSourceMenu").selectedItem, 1);
}

TEST_F(PanelPreferences, AFailedSynchroniseIsIgnoredAndTheNextOneStores) {
  memory_preferences::failNextSynchronize(3);
  controller->awakeFromNib();
  EXPECT_THAT(storedChoices(), IsEmpty());
  EXPECT_EQ(control("KvIoRInCh5And6Menu").selectedItem, 2);
  controller->savePrefs();
  controller->savePrefs();
  controller->savePrefs();
  EXPECT_EQ(storedChoices(), kDefaults);
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

TEST_F(Menus, SetBitOfByteToSetsOrClearsTheBit) {
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
