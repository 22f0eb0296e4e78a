// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/commands.h"

#include <algorithm>

namespace driver {

namespace {

std::uint32_t number(const VQ_Dispatch& record, std::size_t offset) {
  return wire::load<std::uint32_t>(record.bytes, offset);
}

bool isVendorRequest(const VQ_Dispatch& record, const UsbRequestLayout& layout) {
  const std::uint32_t direction = number(record, layout.direction);
  return (direction == EDIR_DeviceToHost || direction == EDIR_HostToDevice) &&
         number(record, layout.level) == EDRQ_Vendor &&
         number(record, layout.recipient) == EDRQ_Device;
}

// The record does not say which layout it has, and a driver of version 1 gets both. Try the new
// layout first: the fields that tell a vendor request are zero there in an old record with at most
// 112 data bytes.
const UsbRequestLayout& layoutOf(const Model& model, const VQ_Dispatch& record) {
  const bool mayBeOld = model.versions.driver >> 24 == 1;
  return mayBeOld && !isVendorRequest(record, kNewUsbRequestLayout) ? kOldUsbRequestLayout
                                                                    : kNewUsbRequestLayout;
}

// Three bytes: build, major, and the two digits of minor and stage as one decimal number.
Outcome answerFirmwareVersion(const Model& model, VQ_Dispatch& record,
                              const UsbRequestLayout& layout) {
  const std::uint32_t firmware = model.versions.firmware;
  const std::uint32_t digits = (firmware >> 16 & 255) * 10 + (firmware >> 8 & 255);
  const std::array<std::uint8_t, 3> bytes = {static_cast<std::uint8_t>(firmware),
                                             static_cast<std::uint8_t>(firmware >> 24),
                                             static_cast<std::uint8_t>(digits)};
  const std::size_t length = std::min<std::size_t>(number(record, layout.length), bytes.size());
  std::copy_n(bytes.begin(), length,
              record.bytes.begin() + static_cast<std::ptrdiff_t>(layout.data));
  wire::store(record.bytes, layout.length, static_cast<std::uint32_t>(length));
  return Outcome::answered;
}

}  // namespace

Outcome answerUsbRequest(Model& model, VQ_Dispatch& record) {
  const UsbRequestLayout& layout = layoutOf(model, record);
  if (!isVendorRequest(record, layout)) return Outcome::refused;
  const bool reads = number(record, layout.direction) == EDIR_DeviceToHost;
  const std::uint8_t request = record.bytes[layout.request];
  if (request == kFirmwareVersionRequest && reads) {
    return answerFirmwareVersion(model, record, layout);
  }
  if (request == kReplugRequest && !reads) return Outcome::answeredAndLeft;
  return Outcome::refused;
}

}  // namespace driver
