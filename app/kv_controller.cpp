// SPDX-License-Identifier: MIT
#include "app/kv_controller.h"

#include <iterator>
#include <set>
#include <string>

#include "app/panel_tables.h"
#include "io/audio_device.h"
#include "io/driver_events.h"
#include "platform/clock/clock.h"
#include "platform/files/files.h"
#include "platform/log/log.h"

namespace {

constexpr const char* kDriverPackageInfo =
    "/System/Library/Extensions/VANTREL_VX310.kext/Contents/Info.plist";
constexpr const char* kHelpPage =
    "/Contents/Resources/VANTREL VX-310 Control Panel Help.html";  // in the application package

constexpr NSSize kInterfacePictureSize{296, 132};
constexpr NSPoint kInterfacePictureOrigin{316, 220};

constexpr unsigned kSettlingMicroseconds = 400'000;

// The ids to empty at the start, in ascending order. The subtitle and the ids that only select a
// routing are in neither table.
std::set<std::int32_t> infoIdsOfTables() {
  std::set<std::int32_t> ids;
  for (const StatusField& row : kStatusFields) ids.insert(row.info);
  for (const PanelMenu& row : kPanelMenus) ids.insert(row.info);
  return ids;
}

}  // namespace

KvController::KvController() {
  NSAppSetDelegate(this);
  mpDlg = std::make_unique<CKorvelDlg>(this);
  readDriverFileVersion();
}

KvController::~KvController() = default;

void KvController::readDriverFileVersion() {
  const auto info = dictionaryWithContentsOfFile(kDriverPackageInfo);
  const auto* version =
      info ? CFDictionaryGet<std::string>(*info, "VQModuleVersionString") : nullptr;
  if (version) version->copy(szDriverFileVersion, std::size(szDriverFileVersion) - 1);
}

void KvController::awakeFromNib() {
  CloseButton.window().setBackgroundColor(
      NSColor::colorWithPatternImage(NSImage::imageNamed("StripTexture.png")));
  loadPrefs();
  if (KvPluggedIn) {
    setWidgetLayoutForDevicePlugged();
  } else {
    setWidgetLayoutForDeviceUnplugged();
  }
  FoundHardware(0);
  for (const std::int32_t id : infoIdsOfTables()) ShowInfo(id, false, 0, nullptr);
  KvPanelSubTitle.setStringValue("VX-310 Control Panel");
}

void KvController::applicationDidFinishLaunching() {
  IOInit();
  AudioObjectAddPropertyListener(kAudioObjectSystemObject, kDeviceListAddress,
                                 audioObjectPropertyListenerProc, nullptr);
}

void KvController::applicationWillTerminate() {
  IOTerm();
  AudioObjectRemovePropertyListener(kAudioObjectSystemObject, kDeviceListAddress,
                                    audioObjectPropertyListenerProc, nullptr);
  savePrefs();
}

void KvController::Detach() { m_bDetached = 1; }

void KvController::Invalidate(bool) {}

void KvController::EnableUSB1Mode(bool enable) { KvUsb1ModeInputSelectionMenu.setEnabled(enable); }

void KvController::FoundHardware(std::int32_t index) {
  m_lIxHardwareFound = index;
  if (index == kHardwareIndexVX310) {
    KvDeviceBitmap.setImage(NSImage::imageNamed("VX-310.png"));
    KvDeviceBitmap.setFrameSize(kInterfacePictureSize);
    KvDeviceBitmap.setFrameOrigin(kInterfacePictureOrigin);
  } else {
    KvDeviceBitmap.setImage(NSImage::imageNamed("None.bmp"));
  }
  platform::usleep(kSettlingMicroseconds);
  KvPrefDictionary.synchronize();  // reads what another program restored meanwhile
  InitRoutingValuesAndSet(true);
}

void KvController::doHelp(const NSControl&) {
  NSWorkspaceOpenFile(NSBundleMainBundlePath() + kHelpPage);
}

void KvController::doCloseButton(const NSControl&) { NSAppTerminate(); }

OSStatus audioObjectPropertyListenerProc(AudioObjectID, std::span<const AudioObjectPropertyAddress>,
                                         void*) {
  platform::printOutput("device list has been changed\n");
  const std::string name = halDeviceName();
  platform::printOutput("Device name: %s\n", name.c_str());
  const AudioObjectID device = findHalDevice();
  platform::printOutput("Found matching device: 0x%2X for %s\n", device, name.c_str());
  return kAudioHardwareNoError;
}
