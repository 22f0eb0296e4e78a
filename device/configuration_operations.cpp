// SPDX-License-Identifier: MIT
// Configurations, buffer sizes and streaming.
#include "device/usb_device.h"

std::uint32_t USBDevice::getCountConfigurations() {
  return wordOf(VQ_Dispatch(VQ_Command::kGetCountConfigurations), 0);
}

bool USBDevice::getConfiguration(std::uint32_t index, VQ_DeviceConfiguration& configuration) {
  VQ_Dispatch record(VQ_Command::kGetConfiguration, index);
  if (!dispatch(record, true)) return false;
  configuration = VQ_DeviceConfiguration::decode(record.payload());
  return true;
}

bool USBDevice::getCurrentConfiguration(VQ_DeviceConfiguration& configuration) {
  VQ_Dispatch record(VQ_Command::kGetCurrentConfiguration);
  if (!dispatch(record, true)) return false;
  configuration = VQ_DeviceConfiguration::decode(record.payload());
  return true;
}

bool USBDevice::setConfiguration(VQ_DeviceConfiguration configuration,
                                 VQ_DeviceConfiguration& actual) {
  VQ_Dispatch record(VQ_Command::kSetConfiguration);
  configuration.encode(record.payload());
  if (!dispatch(record, true)) return false;
  actual = VQ_DeviceConfiguration::decode(record.payload());
  return true;
}

std::uint32_t USBDevice::getConfigStatus() {
  return wordOf(VQ_Dispatch(VQ_Command::kGetConfigStatus), 0);
}

std::uint32_t USBDevice::getCountBufferSizes() {
  return wordOf(VQ_Dispatch(VQ_Command::kGetCountBufferSizes), 0);
}

std::uint32_t USBDevice::getBufferSize(std::uint32_t index) {
  return wordOf({VQ_Command::kGetBufferSize, index}, 0);
}

std::uint32_t USBDevice::getCurrentBufferSize() {
  return wordOf(VQ_Dispatch(VQ_Command::kGetCurrentBufferSize), 0);
}

std::uint32_t USBDevice::setBufferSize(std::uint32_t size) {
  return wordOf({VQ_Command::kSetBufferSize, size}, 0);
}

bool USBDevice::suspendStreaming() {
  return wordOf(VQ_Dispatch(VQ_Command::kSuspendStreaming), 0) != 0;
}

bool USBDevice::resumeStreaming() {
  VQ_Dispatch record(VQ_Command::kResumeStreaming);
  return dispatch(record, true);
}
