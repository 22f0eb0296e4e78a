// SPDX-License-Identifier: MIT
// Shows the current device's state.
#include <cstdint>

#include "device/usb_device.h"
#include "device/version.h"
#include "io/driver_events.h"
#include "io/korvel_dlg.h"
#include "io/option_commands.h"
#include "io/status_texts.h"
#include "protocol/records.h"

namespace {

void show(InfoId id, const char* text) { controlDlg->ShowInfo(id, true, 0, text); }
void show(InfoId id, std::int32_t value) { controlDlg->ShowInfo(id, true, value, ""); }
void hide(InfoId id) { controlDlg->ShowInfo(id, false, 0, ""); }

void showNoDevice() {
  _ioShowUSB1Mode = false;
  controlDlg->FoundHardware(0);
  show(kInfoDevice, "none found");
  show(kInfoPanelSubtitle, "Control Panel");
  show(kInfoDriverVersion, "");
  hide(kInfoConnectionType);
  hide(kInfoFirmwareVersion);
  hide(kInfoSampleWidth);
  hide(kInfoSampleRate);
  // Clear the two fields before hiding them, so that no old text appears when they are shown again.
  show(kInfoSampleClockSource, "");
  show(kInfoDigitalInputStatus, "");
  hide(kInfoSampleClockSource);
  hide(kInfoDigitalInputStatus);
  hide(kInfoCoreAudioPerformance);
  hide(kInfoUsb1ModeInputSelection);
  hide(kInfoSampleClockSourceMenu);
  hide(kInfoDigitalOutputFormat);
  hide(kInfoRoutingMenus);
  controlDlg->Invalidate(true);
}

void showSampleFormat() {
  show(kInfoSampleWidth, kSampleWidthText);
  VQ_DeviceConfiguration configuration{};
  _ioDevice->getCurrentConfiguration(configuration);
  show(kInfoSampleRate, sampleRateText(configuration.sampleRate).c_str());
  if (!_ioDevice->isUSB2Device()) {
    hide(kInfoSampleWidth);
    hide(kInfoSampleRate);
  }
}

void showVersionsAndConnection() {
  controlDlg->ShowInfoCstring(kInfoDevice, true, 0, _ioDevice->getProductString().c_str());
  VqVersion version{};
  _ioDevice->getDriverVersion(version);
  controlDlg->ShowInfoCstring(kInfoDriverVersion, true, 0, version.text);
  show(kInfoConnectionType, connectionText(_ioDevice->isUSB2Device()));
  _ioDevice->getFirmwareVersion(version, false);
  // Show the date: it tells a user more than the version number.
  controlDlg->ShowInfoCstring(kInfoFirmwareVersion, true, 0, version.date);
}

bool automaticClockFollowsDigitalInput() {
  if (!_ioShowDigitalStatus) return false;
  VQ_DigitalStatus status{};
  _ioDevice->getDigitalStatus(status);
  return hasValidSignal(status);
}

void showClockSource(std::int32_t clockSource) {
  if (!_ioShowClockSource) {
    hide(kInfoSampleClockSource);
    hide(kInfoSampleClockSourceMenu);
    return;
  }
  const bool validSignal = clockSource == kClockAutomatic && automaticClockFollowsDigitalInput();
  show(kInfoSampleClockSource, clockSourceText(clockSource, validSignal));
  SampleClockSourceReadback();
}

void showDigitalInputStatus(std::int32_t clockSource) {
  VQ_DigitalStatus status{};
  if (clockSource != kClockInternal) _ioDevice->getDigitalStatus(status);
  show(kInfoDigitalInputStatus, digitalInputText(clockSource, status).c_str());
}

void showDigitalInputAndOutput(std::int32_t clockSource) {
  if (!_ioShowDigitalStatus) {
    hide(kInfoDigitalInputStatus);
    hide(kInfoDigitalOutputFormat);
    return;
  }
  showDigitalInputStatus(clockSource);
  show(kInfoDigitalOutputFormat, _ioDevice->getDigitalOutMode());
}

// Shows the routing of one pair, with the pair's number in the upper 16 bits. The addition is
// unsigned because a failed read gives -1.
void showRouting(InfoId id, bool input, int pair) {
  const auto item = static_cast<std::uint32_t>(_ioDevice->getRouting(input, pair));
  show(id, static_cast<std::int32_t>(item + (static_cast<std::uint32_t>(pair) << 16)));
}

void showRoutingMenus() {
  if (!_ioShowRoutingMenus) {
    hide(kInfoRoutingMenus);
    return;
  }
  showRouting(kInfoOutputRouting, false, 0);
  showRouting(kInfoOutputRouting, false, 1);
  showRouting(kInfoInputRouting, true, 0);
  showRouting(kInfoInputRouting, true, 1);
  showRouting(kInfoInputRouting, true, 2);
  show(kInfoRoutingMenus, 0);
}

void showUsb1Mode(std::int32_t clockSource) {
  if (!_ioShowUSB1Mode) {
    hide(kInfoUsb1ModeInputSelection);
    return;
  }
  if (clockSource == kClockInternal) Usb11Mode(0);
  show(kInfoUsb1ModeInputSelection, _ioDevice->getUSB1Mode());
  controlDlg->enableUSB1Mode(_ioDevice->getCurrentClockSource() != kClockInternal);
}

// Uses the control of the USB 1.1 input selection, because that selection is the digital-out
// selector (io/option_commands.h).
void showDigitalOutSelector() {
  if (_ioShowDigOutMode) {
    show(kInfoUsb1ModeInputSelection, _ioDevice->getDigitalOutSelector());
  } else {
    hide(kInfoUsb1ModeInputSelection);
  }
}

}  // namespace

void IOSetData() {
  if (!_ioDevice) {
    showNoDevice();
    return;
  }
  showVersionsAndConnection();
  showSampleFormat();
  const std::int32_t clockSource = _ioDevice->getCurrentClockSource();
  showClockSource(clockSource);
  showDigitalInputAndOutput(clockSource);
  showRoutingMenus();
  showUsb1Mode(clockSource);
  showDigitalOutSelector();
  AudioPerformanceReadback();
  controlDlg->Invalidate(true);
}
