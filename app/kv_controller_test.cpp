// SPDX-License-Identifier: MIT
#include "app/kv_controller.h"

#include "app/testing/controller_test.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class Controller : public ControllerTest {
 protected:
  // Like operations(), but only those on the device's picture.
  static Log pictureOperations() {
    Log log = operations();
    std::erase_if(log, [](const std::string& line) { return !line.starts_with("KvDeviceBitmap"); });
    return log;
  }
};

// Starting ----------------------------------------------------------------------------------------

TEST_F(Controller, InitSetsTheDelegateAndMakesTheBridge) {
  load();
  EXPECT_THAT(operations(), ElementsAre("application.setDelegate"));
  EXPECT_EQ(recording_toolkit::delegate(), controller);
  ASSERT_NE(controller->mpDlg, nullptr);
  EXPECT_EQ(controlDlg, controller->mpDlg.get());
  EXPECT_EQ(controller->KvPluggedIn, 0);
  EXPECT_EQ(controller->KvFirmwareValid, 0);
  EXPECT_EQ(controller->m_lIxHardwareFound, 0);
  EXPECT_EQ(controller->m_bDetached, 0);
}

TEST_F(Controller, InitReadsTheDriverPackagesVersion) {
  load();
  EXPECT_STREQ(controller->szDriverFileVersion, "1.2.3");
}

TEST_F(Controller, AMissingDriverPackageLeavesTheVersionEmpty) {
  memory_files::reset();
  load();
  EXPECT_STREQ(controller->szDriverFileVersion, "");
}

TEST_F(Controller, AMissingVersionKeyLeavesTheVersionEmpty) {
  memory_files::put(kDriverPackageInfo, CFDictionary{{"CFBundleName", "VX-310"}});
  load();
  EXPECT_STREQ(controller->szDriverFileVersion, "");
}

TEST_F(Controller, AVersionThatIsNotATextLeavesTheVersionEmpty) {
  memory_files::put(kDriverPackageInfo, CFDictionary{{"VQModuleVersionString", 3}});
  load();
  EXPECT_STREQ(controller->szDriverFileVersion, "");
}

TEST_F(Controller, ATooLongVersionIsCutAndTerminated) {
  memory_files::put(kDriverPackageInfo,
                    CFDictionary{{"VQModuleVersionString", std::string(1000, '7')}});
  load();
  EXPECT_EQ(controller->szDriverFileVersion, std::string(255, '7'));
  EXPECT_EQ(controller->KvFirmwareValid, 0);
}

TEST_F(Controller, AwakingWithoutADriverPackageShowsAnEmptyDriverVersion) {
  memory_files::reset();
  loadQuietly();
  controller->awakeFromNib();
  EXPECT_THAT(operations(), Contains("KvDriverVersionField.setStringValue \"\""));
}

TEST_F(Controller, AMissingPictureLeavesTheImageViewEmpty) {
  recording_toolkit::removeImage("None.bmp");
  loadQuietly();
  controller->FoundHardware(0);
  EXPECT_THAT(pictureOperations(), ElementsAre("KvDeviceBitmap.setImage nothing"));
}

TEST_F(Controller, AwakingFindsNoHardware) {
  loadQuietly();
  controller->m_lIxHardwareFound = kHardwareIndexVX310;
  controller->awakeFromNib();
  EXPECT_EQ(controller->m_lIxHardwareFound, 0);
}

TEST_F(Controller, AwakingWithAnEmptyWindowDoesNothing) {
  recording_toolkit::loadWindow({});
  load();
  controller->awakeFromNib();
  EXPECT_THAT(operations(), ElementsAre("application.setDelegate"));
}

TEST_F(Controller, LaunchingStartsTheDeviceLayerAndShowsTheStateWithoutADevice) {
  load();
  controller->awakeFromNib();
  recording_toolkit::clearLog();
  controller->applicationDidFinishLaunching();
  EXPECT_EQ(manual_run_loop::sourceCount(), 1u);
  EXPECT_EQ(control("KvDeviceField").text, "none found");
  EXPECT_FALSE(control("KvDeviceField").hidden);
  EXPECT_EQ(control("KvPanelSubTitle").text, "Control Panel");
  EXPECT_EQ(control("KvDriverVersionField").text, "1.2.3");
  controller->applicationWillTerminate();
}

TEST_F(Controller, LaunchingWithAnInterfaceFillsThePanel) {
  ScriptedInterface interface;
  interface.publish();
  load();
  controller->awakeFromNib();
  controller->applicationDidFinishLaunching();
  EXPECT_EQ(controller->m_lIxHardwareFound, kHardwareIndexVX310);
  EXPECT_EQ(control("KvDeviceField").text, "VX-310");
  EXPECT_EQ(control("KvSampleRateField").text, "48 kHz");
  EXPECT_EQ(control("KvDeviceBitmap").image, "VX-310.png");
  EXPECT_FALSE(control("KvIoROutLineMenu").hidden);
  controller->applicationWillTerminate();
}

// The audio server's device list ------------------------------------------------------------------

class DeviceListListener : public ControllerTest {
 protected:
  DeviceListListener() {
    load();
    controller->applicationDidFinishLaunching();
    setHalDeviceName("VX-310");
  }
  ~DeviceListListener() override {
    if (controller) controller->applicationWillTerminate();
  }

  // Delivers the server's notifications; returns what the listener prints.
  static std::string delivered() {
    memory_log::takeOutput();
    memory_audio_server::deliverNotifications();
    return memory_log::takeOutput();
  }
};

TEST_F(DeviceListListener, FindsTheAudioDeviceWhenItIsAdded) {
  const AudioObjectID device = memory_audio_server::addDevice("VX-310");
  char found[64];
  std::snprintf(found, sizeof found, "Found matching device: 0x%2X for VX-310\n", device);
  EXPECT_EQ(delivered(),
            std::string("device list has been changed\nDevice name: VX-310\n") + found);
  EXPECT_EQ(_halDevice, device);
}

TEST_F(DeviceListListener, ClearsTheAudioDeviceWhenItIsRemoved) {
  const AudioObjectID device = memory_audio_server::addDevice("VX-310");
  delivered();
  ASSERT_EQ(_halDevice, device);
  memory_audio_server::removeDevice(device);
  EXPECT_EQ(delivered(),
            "device list has been changed\nDevice name: VX-310\n"
            "Found matching device: 0x 0 for VX-310\n");
  EXPECT_EQ(_halDevice, 0u);
}

TEST_F(DeviceListListener, IsAddedAfterTheFirstLookUp) {
  controller->applicationWillTerminate();
  memory_audio_server::reset();
  ScriptedInterface interface;
  interface.publish();
  controller->applicationDidFinishLaunching();
  const auto calls = memory_audio_server::calls();
  ASSERT_GE(calls.size(), 2u);
  EXPECT_EQ(calls.front().operation, memory_audio_server::Operation::kGetSize);
  EXPECT_EQ(calls.back().operation, memory_audio_server::Operation::kAddListener);
}

TEST_F(DeviceListListener, ReturnsNoError) {
  EXPECT_EQ(audioObjectPropertyListenerProc(7, {}, nullptr), 0);
}

TEST_F(DeviceListListener, IsRemovedAtTermination) {
  controller->applicationWillTerminate();
  _halDevice = 0;
  memory_audio_server::addDevice("VX-310");
  EXPECT_EQ(delivered(), "");
  EXPECT_EQ(_halDevice, 0u);
  controller = nullptr;
}

// Hardware ----------------------------------------------------------------------------------------

TEST_F(Controller, TheHardwareIndexOfTheInterfaceShowsItsPictureInItsFrame) {
  loadQuietly();
  controller->FoundHardware(kHardwareIndexVX310);
  EXPECT_THAT(pictureOperations(), ElementsAre("KvDeviceBitmap.setImage VX-310.png",
                                               "KvDeviceBitmap.setFrameSize 296x132",
                                               "KvDeviceBitmap.setFrameOrigin (316, 220)"));
  EXPECT_EQ(controller->m_lIxHardwareFound, 9);
  EXPECT_THAT(memory_clock::pauses(), ElementsAre(400'000u));
}

TEST_F(Controller, AnyOtherIndexShowsThePictureForNoDeviceWithoutAFrame) {
  loadQuietly();
  for (const std::int32_t index : {0, 8, 10, -9}) {
    controller->FoundHardware(index);
    EXPECT_THAT(pictureOperations(), ElementsAre("KvDeviceBitmap.setImage None.bmp")) << index;
    EXPECT_EQ(controller->m_lIxHardwareFound, index);
  }
}

TEST_F(Controller, ThePictureForNoDeviceKeepsTheInterfacesFrame) {
  loadQuietly();
  controller->FoundHardware(kHardwareIndexVX310);
  controller->FoundHardware(0);
  EXPECT_EQ(control("KvDeviceBitmap").frame, (NSRect{{316, 220}, {296, 132}}));
}

TEST_F(Controller, ThePauseComesAfterThePicture) {
  loadQuietly();
  Log before;
  memory_clock::onPause([&](unsigned) { before = operations(); });
  controller->FoundHardware(0);
  EXPECT_THAT(before, ElementsAre("KvDeviceBitmap.setImage None.bmp"));
}

TEST_F(Controller, DetachSetsItsFlagAndShowsNothing) {
  loadQuietly();
  controlDlg->Detach();
  EXPECT_EQ(controller->m_bDetached, 1);
  EXPECT_THAT(operations(), IsEmpty());
}

TEST_F(Controller, InvalidatingChangesNothing) {
  loadQuietly();
  controlDlg->Invalidate(true);
  controlDlg->Invalidate(false);
  EXPECT_THAT(operations(), IsEmpty());
}

TEST_F(Controller, EnableUsb1ModeEnablesItsMenu) {
  loadQuietly();
  controlDlg->enableUSB1Mode(false);
  controlDlg->enableUSB1Mode(true);
  EXPECT_THAT(operations(), ElementsAre("KvUsb1ModeInputSelectionMenu.setEnabled no",
                                        "KvUsb1ModeInputSelectionMenu.setEnabled yes"));
}

TEST_F(Controller, TheHooksChangeNothing) {
  loadQuietly();
  controller->startPollingState(nullptr);
  controller->updateStatusFields();
  controller->updateInputSelectControls();
  controller->setWidgetLayoutForDevicePlugged();
  controller->setWidgetLayoutForDeviceUnplugged();
  EXPECT_THAT(operations(), IsEmpty());
  EXPECT_EQ(controller->pollingTimer, nullptr);
}

// Buttons -----------------------------------------------------------------------------------------

TEST_F(Controller, TheHelpButtonOpensTheHelpPage) {
  recording_toolkit::setMainBundlePath("/opt/panel");
  loadQuietly();
  EXPECT_TRUE(recording_toolkit::press("Help"));
  EXPECT_THAT(operations(), ElementsAre("workspace.openFile \"/opt/panel/Contents/Resources/"
                                        "VANTREL VX-310 Control Panel Help.html\""));
}

TEST_F(Controller, AHelpPageThatCannotBeOpenedIsNotReported) {
  recording_toolkit::setOpenFileResult(false);
  loadQuietly();
  recording_toolkit::press("Help");
  EXPECT_EQ(operations().size(), 1u);
}

TEST_F(Controller, TheCloseButtonEndsTheProgram) {
  loadQuietly();
  EXPECT_TRUE(recording_toolkit::press("CloseButton"));
  EXPECT_THAT(operations(), ElementsAre("application.terminate"));
}

// Ending ------------------------------------------------------------------------------------------

TEST_F(Controller, TerminatingReleasesTheDeviceLayerAndShowsNothing) {
  ScriptedInterface interface;
  interface.publish();
  load();
  controller->applicationDidFinishLaunching();
  recording_toolkit::clearLog();
  controller->applicationWillTerminate();
  EXPECT_EQ(manual_run_loop::sourceCount(), 0u);
  EXPECT_EQ(memory_registry::outstanding(), memory_registry::Outstanding{});
  EXPECT_EQ(_ioDevice, nullptr);
  EXPECT_THAT(operations(), IsEmpty());
}

TEST_F(Controller, TerminatingKeepsTheBridgeUntilDestruction) {
  load();
  controller->applicationDidFinishLaunching();
  const CKorvelDlg* bridge = controller->mpDlg.get();
  controller->applicationWillTerminate();
  EXPECT_EQ(controller->mpDlg.get(), bridge);
  owner.reset();
  EXPECT_EQ(controlDlg, bridge);
}

TEST_F(Controller, EventsAfterDestructionShowNothing) {
  ScriptedInterface interface;
  const memory_registry::DeviceId device = interface.publish();
  load();
  controller->applicationDidFinishLaunching();
  controller->applicationWillTerminate();
  owner.reset();
  recording_toolkit::clearLog();
  memory_registry::terminate(device);
  interface.publish();
  memory_audio_server::addDevice("VX-310");
  memory_audio_server::deliverNotifications();
  manual_run_loop::performAll();
  EXPECT_THAT(operations(), IsEmpty());
}

TEST_F(Controller, ClosingTheWindowEndsTheProgram) {
  recording_toolkit::post(recording_toolkit::closeWindow);
  recording_toolkit::post([] { ADD_FAILURE() << "the program is still running"; });
  EXPECT_EQ(NSApplicationMain(0, nullptr, loadPanelNib), 0);
  EXPECT_THAT(operations(), Contains("application.terminate"));
  EXPECT_EQ(manual_run_loop::sourceCount(), 0u);
}

TEST_F(Controller, TheWindowIsShownBeforeAwaking) {
  EXPECT_EQ(NSApplicationMain(0, nullptr, loadPanelNib), 0);
  const Log log = operations();
  ASSERT_GE(log.size(), 3u);
  EXPECT_EQ(log[0], "application.setDelegate");
  EXPECT_EQ(log[1], "window.show");
  EXPECT_EQ(log[2], "window.setBackgroundColor StripTexture.png");
}

}  // namespace
