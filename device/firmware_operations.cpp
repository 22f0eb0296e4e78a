// SPDX-License-Identifier: MIT
#include "device/usb_device.h"

bool USBDevice::prepareFirmwareUpdate() {
  VQ_Dispatch record(VQ_Command::kPrepareFirmwareUpdate);
  return dispatch(record, true);
}

bool USBDevice::reenumerateDevice() {
  if (!isOpen()) return false;
  VQ_Dispatch record(VQ_Command::kReenumerateDevice);
  return !dispatch(record, false);
}

bool USBDevice::replugDevice(bool newLayout) {
  return request(EDIR_HostToDevice, EDRQ_Vendor, EDRQ_Device, kReplugRequest, 0, 0, nullptr, 0,
                 newLayout);
}
