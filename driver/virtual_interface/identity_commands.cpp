// SPDX-License-Identifier: MIT
#include <cstdio>

#include "driver/virtual_interface/commands.h"

namespace driver {

namespace {

// String 1 identifies the unit.
std::string serialNumber(const Model& model) {
  std::array<char, kStringSize> text{};
  std::snprintf(text.data(), text.size(), "%016llX",
                static_cast<unsigned long long>(model.identity.uniqueId));
  return text.data();
}

// The USB device descriptor without its length and type bytes: USB version, class, subclass,
// protocol and packet size, ids, release, string numbers and number of configurations.
Outcome answerDescriptor(const Model& model, VQ_Dispatch& record) {
  VQ_DeviceDescriptor descriptor;
  descriptor.first = model.usb2 ? 0x0200 : 0x0110;
  descriptor.second = {0x00FF, 0x4000};  // vendor-specific class, packets of 64 bytes
  descriptor.vendor = model.identity.vendorId;
  descriptor.product = model.identity.productId;
  descriptor.release = model.identity.release;
  descriptor.last = 0x01030201;  // strings 1, 2 and 3, one configuration
  clearPayload(record);
  descriptor.encode(record.payload());
  return Outcome::answered;
}

Outcome answerDriverVersion(const Model& model, VQ_Dispatch& record) {
  clearPayload(record);
  return answerWord(record, model.versions.driver);
}

Outcome answerUniqueId(const Model& model, VQ_Dispatch& record) {
  clearPayload(record);
  wire::store(record.payload(), 0, model.identity.uniqueId);
  return Outcome::answered;
}

// The value at open: the nominal sample rate in Hz.
Outcome answerValueAtOpen(const Model& model, VQ_Dispatch& record) {
  clearPayload(record);
  record.setValueAtOpen(model.clock.rate());
  return Outcome::answered;
}

}  // namespace

GroupAnswer answerIdentityCommand(Model& model, VQ_Dispatch& record) {
  switch (record.command()) {
    case VQ_Command::kGetString0:
      return answerText(record, "Vantrel " + model.identity.productName, kStringSize);
    case VQ_Command::kGetString1:
      return answerText(record, serialNumber(model), kStringSize);
    case VQ_Command::kGetUsbSpeed:
      return answerWord(record, model.usb2 ? kSpeedUsb20 : kSpeedUsb11);
    case VQ_Command::kGetDeviceDescriptor:
      return answerDescriptor(model, record);
    case VQ_Command::kGetDriverVersion:
      return answerDriverVersion(model, record);
    case VQ_Command::kGetFirmwareVersion:
      return answerWord(record, model.versions.firmwareKnownToDriver);
    case VQ_Command::kGetFirmwareDate:
      return answerText(record, model.versions.firmwareDate, kFirmwareDateSize);
    case VQ_Command::kControlCode56:
      return answerUniqueId(model, record);
    case VQ_Command::kGetValueAtOpen:
      return answerValueAtOpen(model, record);
    default:
      return std::nullopt;
  }
}

}  // namespace driver
