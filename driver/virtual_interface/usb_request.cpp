// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/usb_request.h"

#include <algorithm>

namespace driver {

namespace {

constexpr std::uint32_t kDeviceToHost = 128;
constexpr std::uint32_t kHostToDevice = 0;
constexpr std::uint32_t kVendorLevel = 64;
constexpr std::uint32_t kDeviceRecipient = 0;

constexpr std::uint8_t kReplugRequest = 0x52;
constexpr std::uint8_t kFirmwareVersionRequest = 0x56;

// Payload offsets of the fields.
struct Layout {
  std::size_t direction;
  std::size_t level;
  std::size_t recipient;
  std::size_t request;
  std::size_t length;
  std::size_t data;
};
constexpr Layout kOldLayout = {0, 4, 8, 12, 20, 24};
constexpr Layout kNewLayout = {136, 140, 144, 148, 128, 0};

std::uint32_t number(const VQ_Dispatch& record, std::size_t offset) {
  return wire::load<std::uint32_t>(record.payload(), offset);
}

bool isVendorRequest(const VQ_Dispatch& record, const Layout& layout) {
  const std::uint32_t direction = number(record, layout.direction);
  return (direction == kDeviceToHost || direction == kHostToDevice) &&
         number(record, layout.level) == kVendorLevel &&
         number(record, layout.recipient) == kDeviceRecipient;
}

// The record does not say which layout it has. A driver of version 1 gets both and tells them apart
// by where the setup fields make sense, the new layout first: what it finds there is zero in an old
// record that carries no more than 112 bytes of data.
const Layout& layoutOf(const Model& model, const VQ_Dispatch& record) {
  const bool mayBeOld = model.versions.driver >> 24 == 1;
  return mayBeOld && !isVendorRequest(record, kNewLayout) ? kOldLayout : kNewLayout;
}

// Three bytes: build, major, and the two digits of minor and stage as one decimal number.
Outcome answerFirmwareVersion(const Model& model, VQ_Dispatch& record, const Layout& layout) {
  const std::uint32_t firmware = model.versions.firmware;
  const std::uint32_t digits = (firmware >> 16 & 255) * 10 + (firmware >> 8 & 255);
  const std::array<std::uint8_t, 3> bytes = {static_cast<std::uint8_t>(firmware),
                                             static_cast<std::uint8_t>(firmware >> 24),
                                             static_cast<std::uint8_t>(digits)};
  const std::size_t length = std::min<std::size_t>(number(record, layout.length), bytes.size());
  std::copy_n(bytes.begin(), length,
              record.payload().begin() + static_cast<std::ptrdiff_t>(layout.data));
  wire::store(record.payload(), layout.length, static_cast<std::uint32_t>(length));
  return Outcome::answered;
}

}  // namespace

Outcome answerUsbRequest(Model& model, VQ_Dispatch& record) {
  const Layout& layout = layoutOf(model, record);
  if (!isVendorRequest(record, layout)) return Outcome::refused;
  const bool reads = number(record, layout.direction) == kDeviceToHost;
  const std::uint8_t request = record.payload()[layout.request];
  if (request == kFirmwareVersionRequest && reads) {
    return answerFirmwareVersion(model, record, layout);
  }
  if (request == kReplugRequest && !reads) return Outcome::answeredAndLeft;
  return Outcome::refused;
}

}  // namespace driver
