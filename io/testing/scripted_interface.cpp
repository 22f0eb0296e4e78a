// SPDX-License-Identifier: MIT
#include "io/testing/scripted_interface.h"

#include <algorithm>
#include <span>

#include "protocol/wire.h"

memory_registry::DeviceId ScriptedInterface::publish() {
  memory_registry::Device device;
  device.className = className;
  device.properties = {{kVendorIdKey, descriptor.vendor},
                       {kProductIdKey, descriptor.product},
                       {kProductNameKey, productName}};
  if (!routings.empty()) {
    CFDictionary extData;
    for (const auto& [key, value] : routings) extData.emplace(key, value);
    device.properties.emplace(kRoutingsKey, std::move(extData));
  }
  device.respond = [this](std::uint32_t, std::span<const std::uint8_t> request) {
    return respond(request);
  };
  device.openResult = opens ? kIOReturnSuccess : kIOReturnError;
  return memory_registry::publish(std::move(device));
}

memory_registry::Answer ScriptedInterface::respond(std::span<const std::uint8_t> request) {
  VQ_Dispatch record;
  wire::copyFitting(request, std::span<std::uint8_t>(record.bytes));
  const VQ_Command command = record.command();
  ++commands[command];
  sequence.push_back(command);
  if (std::find(deaf.begin(), deaf.end(), command) != deaf.end()) return std::nullopt;

  const bool isSetting = command == VQ_Command::kSetClockSource ||
                         command == VQ_Command::kSetDigitalOutMode ||
                         command == VQ_Command::kSetDigitalOutSelector;
  if (isSetting && refusesSettings) {
    return std::vector<std::uint8_t>(record.bytes.begin(),
                                     record.bytes.begin() + VQ_Dispatch::kPayloadOffset);
  }

  switch (command) {
    case VQ_Command::kGetUsbSpeed:
      record.setWord(0, usb2);
      break;
    case VQ_Command::kGetDriverVersion:
      record.setWord(0, driverVersion);
      break;
    case VQ_Command::kGetFirmwareVersion:
      record.setWord(0, firmwareVersion);
      break;
    case VQ_Command::kGetFirmwareDate:
      std::fill(record.payload().begin(), record.payload().begin() + 16, std::uint8_t{0});
      std::copy(firmwareDate.begin(), firmwareDate.end(), record.payload().begin());
      break;
    case VQ_Command::kGetDeviceDescriptor:
      descriptor.encode(record.payload());
      break;
    case VQ_Command::kGetCurrentConfiguration:
      configuration.encode(record.payload());
      break;
    case VQ_Command::kSetClockSource:
      if (!ignoresSettings) clockSource = record.word(0);
      [[fallthrough]];
    case VQ_Command::kGetCurrentClockSource:
      record.setWord(0, clockSource);
      break;
    case VQ_Command::kSetDigitalOutMode:
      if (!ignoresSettings) digitalOutMode = record.word(0);
      [[fallthrough]];
    case VQ_Command::kGetDigitalOutMode:
      record.setWord(0, digitalOutMode);
      break;
    case VQ_Command::kGetDigitalStatus:
      digitalInput.encode(record.payload());
      break;
    case VQ_Command::kGetDigitalOutSelector:
      record.setWord(0, digitalOutSelector);
      break;
    case VQ_Command::kSetDigitalOutSelector:
      if (!ignoresSettings) digitalOutSelector = record.word(0);
      break;
    case VQ_Command::kGetUSB1Mode:
      record.setWord(0, usb1Mode);
      break;
    default:
      break;
  }
  return std::vector<std::uint8_t>(record.bytes.begin(), record.bytes.end());
}
