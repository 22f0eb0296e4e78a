#include "io/status.h"

#include <cstdint>
#include <cstdio>

#include "device/records.h"
#include "device/usb_device.h"
#include "device/version.h"
#include "io/driver_events.h"
#include "io/korvel_dlg.h"
#include "io/option_commands.h"

namespace {

// What the device reports as its clock source.
constexpr std::int32_t kClockAutomatic = 0;  // the digital input while its signal is valid
constexpr std::int32_t kClockInternal = 1;
constexpr std::int32_t kClockDigitalInput = 2;

// The lock state of the digital input; any other value means that there is no signal.
constexpr std::uint32_t kLockInvalid = 1;
constexpr std::uint32_t kLockValid = 2;
constexpr std::uint32_t kLockMuted = 3;

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
  // Shown empty before they are hidden, so that no old text is left behind.
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

const char* sampleRateText(std::uint32_t hertz) {
  switch (hertz) {
    case 48000:
      return "48 kHz";
    case 88200:
      return "88.2 kHz";
    case 96000:
      return "96 kHz";
    default:
      return "44.1 kHz";
  }
}

void showSampleFormat() {
  show(kInfoSampleWidth, "24 bits");
  VQ_DeviceConfiguration configuration{};
  _ioDevice->getCurrentConfiguration(configuration);
  show(kInfoSampleRate, sampleRateText(configuration.sampleRate));
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
  show(kInfoConnectionType, _ioDevice->isUSB2Device() ? "USB 2.0" : "USB 1.1 (unsupported) ");
  _ioDevice->getFirmwareVersion(version, false);
  // The date says more to a user than the number does.
  controlDlg->ShowInfoCstring(kInfoFirmwareVersion, true, 0, version.date);
}

bool automaticClockFollowsDigitalInput() {
  if (!_ioShowDigitalStatus) return false;
  VQ_DigitalStatus status{};
  _ioDevice->getDigitalStatus(status);
  return status.lockState == kLockValid;
}

const char* clockSourceText(std::int32_t clockSource) {
  switch (clockSource) {
    case kClockInternal:
      return "internal";
    case kClockDigitalInput:
      return "digital input";
    case kClockAutomatic:
      return automaticClockFollowsDigitalInput() ? "digital input" : "internal";
    default:
      return "unknown";
  }
}

void showClockSource(std::int32_t clockSource) {
  if (!_ioShowClockSource) {
    hide(kInfoSampleClockSource);
    hide(kInfoSampleClockSourceMenu);
    return;
  }
  show(kInfoSampleClockSource, clockSourceText(clockSource));
  SampleClockSourceReadback();
}

// `state` followed by the rate in kHz, with one decimal where it is no whole number of them.
void showDigitalInputRate(const char* state, std::uint32_t hertz) {
  char text[64];
  if (hertz % 1000 == 0) {
    std::snprintf(text, sizeof text, "%s %u kHz", state, hertz / 1000);
  } else {
    std::snprintf(text, sizeof text, "%s %u.%u kHz", state, hertz / 1000, hertz % 1000 / 100);
  }
  controlDlg->ShowInfoCstring(kInfoDigitalInputStatus, true, 0, text);
}

void showDigitalInputStatus(std::int32_t clockSource) {
  if (clockSource == kClockInternal) {
    show(kInfoDigitalInputStatus, "unavailable");
    return;
  }
  VQ_DigitalStatus status{};
  _ioDevice->getDigitalStatus(status);
  switch (status.lockState) {
    case kLockInvalid:
      show(kInfoDigitalInputStatus, "no valid signal");
      return;
    case kLockValid:
      showDigitalInputRate("valid", status.rate);
      return;
    case kLockMuted:
      showDigitalInputRate("muted", status.rate);
      return;
    default:
      show(kInfoDigitalInputStatus, "no signal");
  }
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

// The routing of one pair, with the pair's number in the upper 16 bits. Added as unsigned numbers:
// a device that cannot say gives -1.
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

// The same control as that of the USB 1.1 mode: the input selection of such a connection is the
// digital-out selector.
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
