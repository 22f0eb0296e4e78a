// SPDX-License-Identifier: MIT
// Channel maps, device name and device descriptor.
#include <algorithm>

#include "device/usb_device.h"

bool USBDevice::getChannelMap(VQ_Orbek_ChannelMap& map) {
  VQ_Dispatch record(VQ_Command::kGetChannelMap);
  if (!dispatch(record, true)) return false;
  map = VQ_Orbek_ChannelMap::decode(record.payload());
  return true;
}

bool USBDevice::setChannelMap(VQ_Orbek_ChannelMap map) {
  VQ_Dispatch record(VQ_Command::kSetChannelMap);
  map.encode(record.payload());
  return dispatch(record, false);
}

bool USBDevice::getConfigurationAndChannelMap(VQ_Orbek_ConfigAndMap& record) {
  VQ_Dispatch dispatched(VQ_Command::kGetConfigurationAndChannelMap);
  if (!dispatch(dispatched, true)) return false;
  record = VQ_Orbek_ConfigAndMap::decode(dispatched.payload());
  return true;
}

bool USBDevice::setConfigurationAndChannelMap(VQ_Orbek_ConfigAndMap record,
                                              VQ_Orbek_ConfigAndMap& actual) {
  VQ_Dispatch dispatched(VQ_Command::kSetConfigurationAndChannelMap);
  record.encode(dispatched.payload());
  if (!dispatch(dispatched, true)) return false;
  configurationAndMap_ = VQ_Orbek_ConfigAndMap::decode(dispatched.payload());
  actual = configurationAndMap_;
  return true;
}

bool USBDevice::updateOrbekConfigAndMap() {
  return getConfigurationAndChannelMap(configurationAndMap_);
}

bool USBDevice::getOrbekDeviceName(char* name) {
  VQ_Dispatch record(VQ_Command::kGetDeviceName);
  if (!dispatch(record, false)) {
    name[0] = 0;
    return false;
  }
  std::copy_n(record.payload().begin(), kDeviceNameSize, name);
  return true;
}

bool USBDevice::getOrbekDeviceName(std::span<char> name) {
  VQ_Dispatch record(VQ_Command::kGetDeviceName);
  const bool isRead = dispatch(record, false);
  if (name.empty()) return isRead;
  const auto answer = record.payload().first(isRead ? kDeviceNameSize : 0);
  const auto text = answer.first(
      static_cast<std::size_t>(std::find(answer.begin(), answer.end(), 0) - answer.begin()));
  const std::size_t length = std::min(text.size(), name.size() - 1);
  std::copy_n(text.begin(), length, name.begin());
  name[length] = 0;
  return isRead;
}

bool USBDevice::setOrbekDeviceName(const char* name) {
  std::size_t length = 0;
  while (length < kDeviceNameSize && name[length] != 0) ++length;
  return setOrbekDeviceName(std::string_view(name, length));
}

bool USBDevice::setOrbekDeviceName(std::string_view name) {
  VQ_Dispatch record(VQ_Command::kSetDeviceName);
  std::copy_n(name.begin(), std::min(name.size(), kDeviceNameSize), record.payload().begin());
  return dispatch(record, false);
}

bool USBDevice::getDeviceDescriptor(VQ_DeviceDescriptor& descriptor) {
  descriptor.clear();
  std::uint8_t answer[VQ_DeviceDescriptor::kSize] = {};
  if (!DeviceIoControl(connection_, kControlCodeDeviceDescriptor, nullptr, 0, answer, sizeof answer,
                       nullptr, nullptr)) {
    return false;
  }
  descriptor = VQ_DeviceDescriptor::decode(answer);
  return true;
}
