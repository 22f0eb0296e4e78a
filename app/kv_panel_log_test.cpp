// SPDX-License-Identifier: MIT
// Whole logs of the window operations at the start and while interfaces arrive, change and leave.
// Controller, driver events, status gathering and device layer run together on memory back ends.
#include "app/testing/controller_test.h"

namespace {

using testing::IsEmpty;

using Log = std::vector<std::string>;

Log operator+(Log left, const Log& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Log shownField(const std::string& field, const std::string& text) {
  return {field + ".setHidden no", field + "Title.setHidden no",
          field + ".setStringValue \"" + text + "\""};
}

Log hiddenField(const std::string& field) {
  return {field + ".setHidden yes", field + "Title.setHidden yes"};
}

const Log kEmptiedWidth = {"KvSampleWidthField.setStringValue \"\""};

Log shownMenu(const std::string& stem, int item) {
  return {stem + "Menu.setEnabled yes", stem + "Menu.selectItemAtIndex " + std::to_string(item),
          stem + "Menu.setHidden no", stem + "Title.setHidden no"};
}

Log hiddenMenu(const std::string& stem) {
  return {stem + "Menu.setEnabled no", stem + "Menu.setHidden yes", stem + "Title.setHidden yes"};
}

const Log kHiddenPerformanceMenu = {
    "KvCoreAudioPerformanceMenu.setEnabled no", "KvCoreAudioPerformanceMenu.selectItem nothing",
    "KvCoreAudioPerformanceMenu.setHidden yes", "KvCoreAudioPerformanceTitle.setHidden yes"};

const Log kHiddenUsb1Menu = {"KvUsb1ModeInputSelectionMenu.setEnabled no",
                             "KvUsb1ModeInputSelectionMenu.setHidden yes",
                             "KvUsb1ModeInputSelectionMenu.selectItem nothing",
                             "KvUsb1ModeInputSelectionTitle.setHidden yes"};

Log routingMenus(const std::string& enabled, const std::string& hidden) {
  Log log;
  for (const char* stem : {"KvIoRInCh1And2", "KvIoRInCh3And4", "KvIoROutLine", "KvIoROutDigital"}) {
    log.push_back(stem + std::string("Menu.setEnabled ") + enabled);
  }
  for (const char* suffix : {"Menu.setHidden ", "Title.setHidden "}) {
    for (const char* stem : {"KvIoRInCh1And2", "KvIoRInCh3And4", "KvIoRInCh5And6", "KvIoROutLine",
                             "KvIoROutDigital"}) {
      log.push_back(stem + std::string(suffix) + hidden);
    }
  }
  return log;
}

const Log kSelectedRoutings = {
    "KvIoROutLineMenu.selectItemAtIndex 0", "KvIoROutDigitalMenu.selectItemAtIndex 1",
    "KvIoRInCh1And2Menu.selectItemAtIndex 0", "KvIoRInCh3And4Menu.selectItemAtIndex 1",
    "KvIoRInCh5And6Menu.selectItemAtIndex 2"};

Log select(const std::string& menu, int item) {
  return {menu + "Menu.selectItemAtIndex " + std::to_string(item)};
}

// The routing menus select the defaults.
const Log kRoutingChoices = select("KvIoROutLine", 0) + select("KvIoROutDigital", 1) +
                            select("KvIoRInCh1And2", 0) + select("KvIoRInCh3And4", 1) +
                            select("KvIoRInCh5And6", 2);

const Log kShownChoices = select("KvUsb1ModeInputSelection", 0) +
                          select("KvDigitalOutputFormat", 0) + kRoutingChoices +
                          select("KvSampleClockSource", 0) + select("KvCoreAudioPerformance", 0);

// With an interface, each option command also shows the value that the interface reports.
const Log kAppliedChoices =
    Log{"KvUsb1ModeInputSelectionMenu.setEnabled yes", "KvUsb1ModeInputSelectionMenu.setHidden no",
        "KvUsb1ModeInputSelectionMenu.selectItemAtIndex 0",
        "KvUsb1ModeInputSelectionTitle.setHidden no"} +
    select("KvUsb1ModeInputSelection", 0) + shownMenu("KvDigitalOutputFormat", 0) +
    select("KvDigitalOutputFormat", 0) + kRoutingChoices + shownMenu("KvSampleClockSource", 0) +
    select("KvSampleClockSource", 0) + select("KvCoreAudioPerformance", 0);

const Log kInterfaceFound =
    Log{"KvDeviceBitmap.setImage VX-310.png", "KvDeviceBitmap.setFrameSize 296x132",
        "KvDeviceBitmap.setFrameOrigin (316, 220)"} +
    kAppliedChoices;

// The values shown for the scripted interface; a test sets only the fields that its case changes.
struct Shown {
  bool usb2 = true;
  std::string rate = "48 kHz";
  std::string clockSource = "digital input";
  int clockItem = 0;
  std::string digitalInput = "valid 48 kHz";
};

Log interfaceShown(const Shown& shown) {
  Log log = shownField("KvDeviceField", "VX-310") + shownField("KvDriverVersionField", "1.2.3") +
            shownField("KvConnectionTypeField", shown.usb2 ? "USB 2.0" : "USB 1.1 (unsupported) ") +
            shownField("KvFirmwareVersionField", "Mar 14 2009") + kEmptiedWidth +
            shownField("KvSampleWidthField", "24 bits") +
            shownField("KvSampleRateField", shown.rate);
  if (!shown.usb2) {
    log =
        log + kEmptiedWidth + hiddenField("KvSampleWidthField") + hiddenField("KvSampleRateField");
  }
  return log + shownField("KvSampleClockSourceField", shown.clockSource) +
         shownMenu("KvSampleClockSource", shown.clockItem) +
         shownField("KvDigitalInputStatusField", shown.digitalInput) +
         shownMenu("KvDigitalOutputFormat", 0) + kSelectedRoutings + routingMenus("yes", "no") +
         kHiddenUsb1Menu + kHiddenUsb1Menu + kHiddenPerformanceMenu;
}

Log noDeviceShown() {
  return Log{"KvDeviceBitmap.setImage None.bmp"} + kShownChoices +
         shownField("KvDeviceField", "none found") +
         Log{"KvPanelSubTitle.setStringValue \"Control Panel\""} +
         shownField("KvDriverVersionField", "1.2.3") + hiddenField("KvConnectionTypeField") +
         hiddenField("KvFirmwareVersionField") + kEmptiedWidth + hiddenField("KvSampleWidthField") +
         hiddenField("KvSampleRateField") + shownField("KvSampleClockSourceField", "") +
         shownField("KvDigitalInputStatusField", "") + hiddenField("KvSampleClockSourceField") +
         hiddenField("KvDigitalInputStatusField") + kHiddenPerformanceMenu + kHiddenUsb1Menu +
         hiddenMenu("KvSampleClockSource") + hiddenMenu("KvDigitalOutputFormat") +
         routingMenus("no", "yes");
}

class EmptyPanel : public ControllerTest {};

TEST_F(EmptyPanel, AwakingShowsTheDriverVersionAlone) {
  loadQuietly();
  controller->awakeFromNib();
  const Log expected = {
      "window.setBackgroundColor StripTexture.png",
      "KvDeviceBitmap.setImage None.bmp",
      "KvUsb1ModeInputSelectionMenu.selectItemAtIndex 0",
      "KvDigitalOutputFormatMenu.selectItemAtIndex 0",
      "KvIoROutLineMenu.selectItemAtIndex 0",
      "KvIoROutDigitalMenu.selectItemAtIndex 1",
      "KvIoRInCh1And2Menu.selectItemAtIndex 0",
      "KvIoRInCh3And4Menu.selectItemAtIndex 1",
      "KvIoRInCh5And6Menu.selectItemAtIndex 2",
      "KvSampleClockSourceMenu.selectItemAtIndex 0",
      "KvCoreAudioPerformanceMenu.selectItemAtIndex 0",
      "KvSampleWidthField.setStringValue \"\"",
      "KvSampleWidthField.setHidden yes",
      "KvSampleWidthFieldTitle.setHidden yes",
      "KvSampleRateField.setHidden yes",
      "KvSampleRateFieldTitle.setHidden yes",
      "KvDigitalInputStatusField.setHidden yes",
      "KvDigitalInputStatusFieldTitle.setHidden yes",
      "KvFirmwareVersionField.setHidden yes",
      "KvFirmwareVersionFieldTitle.setHidden yes",
      "KvDriverVersionField.setHidden no",
      "KvDriverVersionFieldTitle.setHidden no",
      "KvDriverVersionField.setStringValue \"1.2.3\"",
      "KvDeviceField.setHidden yes",
      "KvDeviceFieldTitle.setHidden yes",
      "KvConnectionTypeField.setHidden yes",
      "KvConnectionTypeFieldTitle.setHidden yes",
      "KvSampleClockSourceField.setHidden yes",
      "KvSampleClockSourceFieldTitle.setHidden yes",
      "KvUsb1ModeInputSelectionMenu.setEnabled no",
      "KvUsb1ModeInputSelectionMenu.setHidden yes",
      "KvUsb1ModeInputSelectionMenu.selectItem nothing",
      "KvUsb1ModeInputSelectionTitle.setHidden yes",
      "KvSampleClockSourceMenu.setEnabled no",
      "KvSampleClockSourceMenu.setHidden yes",
      "KvSampleClockSourceTitle.setHidden yes",
      "KvDigitalOutputFormatMenu.setEnabled no",
      "KvDigitalOutputFormatMenu.setHidden yes",
      "KvDigitalOutputFormatTitle.setHidden yes",
      "KvCoreAudioPerformanceMenu.setEnabled no",
      "KvCoreAudioPerformanceMenu.selectItem nothing",
      "KvCoreAudioPerformanceMenu.setHidden yes",
      "KvCoreAudioPerformanceTitle.setHidden yes",
      "KvIoRInCh1And2Menu.setEnabled no",
      "KvIoRInCh3And4Menu.setEnabled no",
      "KvIoROutLineMenu.setEnabled no",
      "KvIoROutDigitalMenu.setEnabled no",
      "KvIoRInCh1And2Menu.setHidden yes",
      "KvIoRInCh3And4Menu.setHidden yes",
      "KvIoRInCh5And6Menu.setHidden yes",
      "KvIoROutLineMenu.setHidden yes",
      "KvIoROutDigitalMenu.setHidden yes",
      "KvIoRInCh1And2Title.setHidden yes",
      "KvIoRInCh3And4Title.setHidden yes",
      "KvIoRInCh5And6Title.setHidden yes",
      "KvIoROutLineTitle.setHidden yes",
      "KvIoROutDigitalTitle.setHidden yes",
      "KvPanelSubTitle.setStringValue \"VX-310 Control Panel\"",
  };
  EXPECT_EQ(operations(), expected);
  EXPECT_THAT(memory_clock::pauses(), testing::ElementsAre(400'000u));
}

class PanelLog : public ControllerTest {
 protected:
  ~PanelLog() override {
    controller->applicationWillTerminate();
    EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
  }

  // Launches the panel after awaking; returns the operations of the launch.
  Log launch() {
    load();
    controller->awakeFromNib();
    recording_toolkit::clearLog();
    controller->applicationDidFinishLaunching();
    return operations();
  }

  // Delivers the pending notifications; returns their operations.
  static Log happened() {
    manual_run_loop::performAll();
    return operations();
  }

  // Sends the driver's "state changed" message; returns its operations.
  static Log changed(memory_registry::DeviceId device) {
    std::vector<std::uint8_t> argument(36);
    argument[0] = 36;
    argument[4] = 3;
    memory_registry::sendMessage(device, 0xe0000130, argument);
    return happened();
  }

  ScriptedInterface interface;
  ScriptedInterface second;
};

TEST_F(PanelLog, ALaunchWithNothingConnectedShowsNoDevice) { EXPECT_EQ(launch(), noDeviceShown()); }

TEST_F(PanelLog, AnInterfaceConnectedAtTheLaunchIsShown) {
  interface.publish();
  EXPECT_EQ(launch(), kInterfaceFound + interfaceShown({}) + interfaceShown({}));
}

TEST_F(PanelLog, AnArrivalAtUsb2IsShown) {
  launch();
  interface.publish();
  EXPECT_EQ(happened(), kInterfaceFound + interfaceShown({}));
}

TEST_F(PanelLog, AnArrivalAtUsb1IsShownWithoutWidthAndRate) {
  launch();
  interface.usb2 = 0;
  interface.publish();
  EXPECT_EQ(happened(), kInterfaceFound + interfaceShown({.usb2 = false}));
}

TEST_F(PanelLog, EachClockSourceAndLockStateIsShown) {
  const auto device = interface.publish();
  launch();
  struct Case {
    std::uint32_t clockSource;
    std::uint32_t lockState;
    Shown shown;
  };
  const std::vector<Case> cases = {
      {0, 0, {.clockSource = "internal", .digitalInput = "no signal"}},
      {0, 1, {.clockSource = "internal", .digitalInput = "no valid signal"}},
      {0, 2, {.clockSource = "digital input", .digitalInput = "valid 48 kHz"}},
      {0, 3, {.clockSource = "internal", .digitalInput = "muted 48 kHz"}},
      {1, 0, {.clockSource = "internal", .clockItem = 1, .digitalInput = "unavailable"}},
      {1, 2, {.clockSource = "internal", .clockItem = 1, .digitalInput = "unavailable"}},
      {2, 0, {.clockSource = "digital input", .digitalInput = "no signal"}},
      {2, 1, {.clockSource = "digital input", .digitalInput = "no valid signal"}},
      {2, 2, {.clockSource = "digital input", .digitalInput = "valid 48 kHz"}},
      {2, 3, {.clockSource = "digital input", .digitalInput = "muted 48 kHz"}},
      {3, 4, {.clockSource = "unknown", .digitalInput = "no signal"}},
  };
  for (const Case& each : cases) {
    interface.clockSource = each.clockSource;
    interface.digitalInput.lockState = each.lockState;
    EXPECT_EQ(changed(device), interfaceShown(each.shown))
        << "clock source " << each.clockSource << ", lock state " << each.lockState;
  }
}

TEST_F(PanelLog, AChangedSampleRateIsShown) {
  const auto device = interface.publish();
  launch();
  interface.configuration.sampleRate = 96000;
  EXPECT_EQ(changed(device), interfaceShown({.rate = "96 kHz"}));
}

TEST_F(PanelLog, ARemovalShowsNoDevice) {
  const auto device = interface.publish();
  launch();
  memory_registry::terminate(device);
  EXPECT_EQ(happened(), noDeviceShown());
  EXPECT_EQ(controller->m_bDetached, 1);
}

TEST_F(PanelLog, ASecondInterfaceChangesNothingWhileTheFirstIsConnected) {
  interface.publish();
  launch();
  const auto secondDevice = second.publish();
  EXPECT_THAT(happened(), IsEmpty());
  EXPECT_THAT(changed(secondDevice), IsEmpty());
  memory_registry::terminate(secondDevice);
  EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(PanelLog, AForeignDeviceChangesNothing) {
  launch();
  interface.descriptor.product = 0x0001;
  interface.publish();
  EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(PanelLog, ADeviceThatCannotBeOpenedChangesNothing) {
  launch();
  interface.opens = false;
  interface.publish();
  EXPECT_THAT(happened(), IsEmpty());
}

}  // namespace
