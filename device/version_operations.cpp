// SPDX-License-Identifier: MIT
#include <algorithm>

#include "device/usb_device.h"
#include "platform/log/log.h"
#include "protocol/versions.h"

bool USBDevice::getDriverVersion(VqVersion& version) {
  version = {};
  if (!isOpen()) return false;
  std::uint8_t answer[8] = {};
  if (!DeviceIoControl(connection_, kControlCodeDriverVersion, nullptr, 0, answer, sizeof answer,
                       nullptr, nullptr)) {
    return false;
  }
  version = _vqapiDecodeDriverVersion(wire::load<std::uint32_t>(answer, 0));
  return true;
}

bool USBDevice::getFirmwareVersion(VqVersion& version, bool askDevice) {
  version = {};
  if (!isOpen()) return false;
  std::uint32_t number = 0;
  if (!askDevice) {
    VQ_Dispatch record(VQ_Command::kGetFirmwareVersion);
    if (!dispatch(record, false)) return false;
    number = record.word(0);
  }
  if (number == 0) {
    FirmwareVersion::Answer answer = {};
    if (!request(EDIR_DeviceToHost, EDRQ_Vendor, EDRQ_Device, kFirmwareVersionRequest, 0, 0,
                 reinterpret_cast<char*>(answer.data()), sizeof answer, true)) {
      return false;
    }
    number = FirmwareVersion::fromAnswer(answer).encode();
    platform::printOutput("fwupdater %08X\n", number);
  }
  platform::printOutput("uFirmwareVersion %08X\n", number);
  version = _vqapiDecodeFirmwareVersion(number);

  VQ_Dispatch record(VQ_Command::kGetFirmwareDate);
  if (dispatch(record, false)) {
    std::copy_n(record.payload().begin(), sizeof version.date - 1, version.date);
  }
  return true;
}
