// SPDX-License-Identifier: MIT
#include "io/option_commands.h"

#include "device/usb_device.h"
#include "io/audio_device.h"
#include "io/driver_events.h"
#include "io/korvel_dlg.h"
#include "settings/osx_asio_registry.h"

namespace {

// The result of a query without a current device.
constexpr std::int32_t kNoDevice = -1;

// Stores one of the driver's settings, which the driver reads at its next start.
void storeSetting(void (OSXAsioRegistry::*set)(std::uint32_t), std::int32_t value) {
  OSXAsioRegistry settings(kVX310Settings);
  (settings.*set)(static_cast<std::uint32_t>(value));
  settings.store();
}

// The clock menu has two items: automatic and internal.
std::int32_t clockMenuIndex(std::int32_t clockSource) {
  return clockSource == kClockInternal ? 1 : 0;
}

std::int32_t routingOfCurrentDevice(bool input, int pair) {
  return _ioDevice ? _ioDevice->getRouting(input, pair) : kNoDevice;
}

}  // namespace

std::int32_t DoLine12Out(std::int32_t value) { return setRouting(false, 0, value); }
std::int32_t DoLineOut(std::int32_t value) { return setRouting(false, 0, value); }
std::int32_t DoLine34Out(std::int32_t value) { return setRouting(false, 1, value); }
std::int32_t DoDigitalOut(std::int32_t value) { return setRouting(false, 1, value); }
std::int32_t DoChannel1and2(std::int32_t value) { return setRouting(true, 0, value); }
std::int32_t DoChannel3and4(std::int32_t value) { return setRouting(true, 1, value); }
std::int32_t DoChannel5and6(std::int32_t value) { return setRouting(true, 2, value); }

void SampleClockSource(std::int32_t value) {
  if (!_ioDevice) return;
  if (value == kClockInternal || value == kClockAutomatic) {
    _ioDevice->setClockSource(static_cast<VQE_ClockSource>(value));
  }
  SampleClockSourceReadback();
  storeSetting(&OSXAsioRegistry::setClockSource, _ioDevice->getCurrentClockSource());
}

void DigitalOutputFormat(std::int32_t value) {
  if (!_ioDevice) return;
  _ioDevice->setDigitalOutMode(static_cast<VQE_DigitalOutMode>(value));
  controlDlg->ShowInfo(kInfoDigitalOutputFormat, true, _ioDevice->getDigitalOutMode(), "");
  storeSetting(&OSXAsioRegistry::setDigitalOutMode, _ioDevice->getDigitalOutMode());
}

void Usb11Mode(std::int32_t value) {
  if (!_ioDevice) return;
  _ioDevice->setDigitalOutSelector(value);
  controlDlg->ShowInfo(kInfoUsb1ModeInputSelection, true, _ioDevice->getDigitalOutSelector(), "");
  storeSetting(&OSXAsioRegistry::setDigitalOutSelector, _ioDevice->getDigitalOutSelector());
}

std::int32_t getUSB1Mode() { return _ioDevice ? _ioDevice->getUSB1Mode() : kNoDevice; }

std::int32_t GetDigitalOutFormat() {
  return _ioDevice ? _ioDevice->getDigitalOutMode() : kNoDevice;
}

std::int32_t GetLineOut() { return routingOfCurrentDevice(false, 0); }
std::int32_t GetDigitalOut() { return routingOfCurrentDevice(false, 1); }
std::int32_t GetChannel1and2() { return routingOfCurrentDevice(true, 0); }
std::int32_t GetChannel3and4() { return routingOfCurrentDevice(true, 1); }
std::int32_t GetChannel5and6() { return routingOfCurrentDevice(true, 2); }

std::int32_t GetSampleClockSource() {
  return _ioDevice ? clockMenuIndex(_ioDevice->getCurrentClockSource()) : kNoDevice;
}

void SampleClockSourceReadback() {
  if (!_ioDevice) {
    controlDlg->ShowInfo(kInfoSampleClockSourceMenu, false, 0, "");
    return;
  }
  controlDlg->ShowInfo(kInfoSampleClockSourceMenu, true,
                       clockMenuIndex(_ioDevice->getCurrentClockSource()), "");
}

void AudioPerformanceReadback() { controlDlg->ShowInfo(kInfoCoreAudioPerformance, false, 0, ""); }
