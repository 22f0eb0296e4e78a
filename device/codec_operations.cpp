// SPDX-License-Identifier: MIT
// Codec registers, the logic chip's byte and the control port.
#include <algorithm>

#include "device/usb_device.h"

namespace {

VQ_Dispatch registerRecord(VQ_Command command, const CodecRegister& codecRegister) {
  VQ_Dispatch record(command);
  codecRegister.encode(record.payload());
  return record;
}

std::uint16_t contentsOf(const VQ_Dispatch& record) {
  return CodecRegister::decode(record.payload()).contents;
}

}  // namespace

std::uint16_t USBDevice::getWMRegister(std::uint16_t a, std::uint16_t b) {
  VQ_Dispatch record = registerRecord(VQ_Command::kGetWMRegister, {a, b, 0});
  return dispatch(record, true) ? contentsOf(record) : std::uint16_t{0};
}

std::uint16_t USBDevice::setWMRegister(std::uint16_t a, std::uint16_t b, std::uint16_t c) {
  VQ_Dispatch record = registerRecord(VQ_Command::kSetWMRegister, {a, b, c});
  return dispatch(record, true) ? contentsOf(record) : std::uint16_t{0};
}

std::optional<std::uint32_t> USBDevice::readLogicChip() {
  VQ_Dispatch record(VQ_Command::kReadLogicChip);
  if (!dispatch(record, false)) return std::nullopt;
  return record.word(0);
}

bool USBDevice::getLogicChipBit(std::uint32_t bit) {
  return (readLogicChip().value_or(0) & bit) != 0;
}

bool USBDevice::setLogicChipBit(std::uint32_t bit, bool on) {
  const std::optional<std::uint32_t> former = readLogicChip();
  if (!former) return false;
  VQ_Dispatch record(VQ_Command::kWriteLogicChip, on ? *former | bit : *former & ~bit);
  return dispatch(record, false);
}

bool USBDevice::getDaxCpldDigitalMon() { return getLogicChipBit(kDigitalMonitorBit); }

bool USBDevice::getDaxCpldMixOutSel() { return getLogicChipBit(kMixOutSelectBit); }

bool USBDevice::setDaxCpldDigitalMon(bool on) { return setLogicChipBit(kDigitalMonitorBit, on); }

bool USBDevice::setDaxCpldMixOutSel(bool on) { return setLogicChipBit(kMixOutSelectBit, on); }

bool USBDevice::sendCPortBytes(std::uint32_t count, const unsigned char* bytes) {
  return sendCPortBytes(bytes ? std::span(bytes, count) : std::span<const std::uint8_t>());
}

bool USBDevice::sendCPortBytes(std::span<const std::uint8_t> bytes) {
  if (!isOpen()) return false;
  while (!bytes.empty()) {
    const auto chunk = bytes.first(std::min(bytes.size(), kControlPortLimit));
    VQ_Dispatch record = controlPortRecord(chunk);
    if (!dispatch(record, false)) return false;
    bytes = bytes.subspan(chunk.size());
  }
  return true;
}

bool USBDevice::sendCPortBytesStatic(void* device, const unsigned char* bytes,
                                     std::uint32_t count) {
  return device && static_cast<USBDevice*>(device)->sendCPortBytes(count, bytes);
}

bool USBDevice::writeAJData(AJCPortBase*, std::uint32_t) { return false; }
