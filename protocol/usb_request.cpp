// SPDX-License-Identifier: MIT
#include "protocol/usb_request.h"

#include <algorithm>
#include <cstddef>

#include "protocol/wire.h"

namespace {

// Offsets in the record.
struct Offsets {
  std::size_t direction;  // 32 bits, like level, recipient and length
  std::size_t level;
  std::size_t recipient;
  std::size_t request;  // 8 bits
  std::size_t value;    // 16 bits, like index
  std::size_t index;
  std::size_t length;
  std::size_t data;  // up to the end of the record
};
constexpr Offsets kOldOffsets = {4, 8, 12, 16, 18, 20, 24, 28};
constexpr Offsets kNewOffsets = {140, 144, 148, 152, 136, 138, 132, 4};

const Offsets& offsetsOf(UsbRequestLayout layout) {
  return layout == UsbRequestLayout::kOld ? kOldOffsets : kNewOffsets;
}

}  // namespace

VQ_Dispatch UsbRequest::encode(UsbRequestLayout layout, std::span<const std::uint8_t> data) const {
  const Offsets& at = offsetsOf(layout);
  VQ_Dispatch record(VQ_Command::kUsbRequest);
  wire::store(record.bytes, at.direction, std::uint32_t{direction});
  wire::store(record.bytes, at.level, std::uint32_t{level});
  wire::store(record.bytes, at.recipient, std::uint32_t{recipient});
  wire::store(record.bytes, at.request, request);
  wire::store(record.bytes, at.value, value);
  wire::store(record.bytes, at.index, index);
  wire::store(record.bytes, at.length, length);

  const auto area = std::span(record.bytes).subspan(at.data);
  if (data.empty()) {
    std::fill(area.begin(), area.end(), std::uint8_t{0});
  } else {
    wire::copyFitting(data, area);
  }
  return record;
}

UsbRequest UsbRequest::decode(const VQ_Dispatch& record, UsbRequestLayout layout) {
  const Offsets& at = offsetsOf(layout);
  return {.direction = EDirection{wire::load<std::uint32_t>(record.bytes, at.direction)},
          .level = EDRQ_Level{wire::load<std::uint32_t>(record.bytes, at.level)},
          .recipient = EDRQ_Recipient{wire::load<std::uint32_t>(record.bytes, at.recipient)},
          .request = wire::load<std::uint8_t>(record.bytes, at.request),
          .value = wire::load<std::uint16_t>(record.bytes, at.value),
          .index = wire::load<std::uint16_t>(record.bytes, at.index),
          .length = wire::load<std::uint32_t>(record.bytes, at.length)};
}

void encodeUsbAnswer(VQ_Dispatch& record, UsbRequestLayout layout,
                     std::span<const std::uint8_t> data) {
  const Offsets& at = offsetsOf(layout);
  const std::size_t stored = wire::copyFitting(data, std::span(record.bytes).subspan(at.data));
  wire::store(record.bytes, at.length, static_cast<std::uint32_t>(stored));
}

std::span<const std::uint8_t> decodeUsbAnswer(const VQ_Dispatch& record, UsbRequestLayout layout) {
  const Offsets& at = offsetsOf(layout);
  const auto area = std::span(record.bytes).subspan(at.data);
  return area.first(
      std::min<std::size_t>(wire::load<std::uint32_t>(record.bytes, at.length), area.size()));
}
