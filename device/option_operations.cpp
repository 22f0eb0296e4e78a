// SPDX-License-Identifier: MIT
// Clock source, USB 1.1 mode, digital output and digital input.
#include "device/usb_device.h"

namespace {

std::uint32_t wordFrom(std::int32_t value) { return static_cast<std::uint32_t>(value); }

}  // namespace

bool USBDevice::canClockSource(VQE_ClockSource source) {
  return wordOf({VQ_Command::kCanClockSource, wordFrom(source)}, 0) == 1;
}

std::int32_t USBDevice::getCurrentClockSource() {
  return signedWordOf(VQ_Dispatch(VQ_Command::kGetCurrentClockSource));
}

std::int32_t USBDevice::setClockSource(VQE_ClockSource source) {
  return signedWordOf({VQ_Command::kSetClockSource, wordFrom(source)});
}

std::int32_t USBDevice::getUSB1Mode() {
  return signedWordOf(VQ_Dispatch(VQ_Command::kGetUSB1Mode));
}

std::int32_t USBDevice::setUSB1Mode(VQE_USB1Mode mode) {
  return signedWordOf({VQ_Command::kSetUSB1Mode, wordFrom(mode)});
}

std::int32_t USBDevice::getDigitalOutMode() {
  return signedWordOf(VQ_Dispatch(VQ_Command::kGetDigitalOutMode));
}

std::int32_t USBDevice::setDigitalOutMode(VQE_DigitalOutMode mode) {
  return signedWordOf({VQ_Command::kSetDigitalOutMode, wordFrom(mode)});
}

std::int32_t USBDevice::getDigitalOutSelector() {
  return signedWordOf(VQ_Dispatch(VQ_Command::kGetDigitalOutSelector));
}

bool USBDevice::setDigitalOutSelector(std::int32_t selector) {
  VQ_Dispatch record(VQ_Command::kSetDigitalOutSelector, wordFrom(selector));
  return dispatch(record, false);
}

bool USBDevice::getDigitalStatus(VQ_DigitalStatus& status) {
  VQ_Dispatch record(VQ_Command::kGetDigitalStatus);
  if (!dispatch(record, true)) return false;
  status = VQ_DigitalStatus::decode(record.payload());
  return true;
}
