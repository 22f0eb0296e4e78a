// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>

#include "device/usb_device.h"

namespace {

// The old layout's data area reaches beyond the 260 bytes of the record. The request is assembled
// in this larger area; only its first 260 bytes are sent.
using Scratch = std::array<std::uint8_t, kOldUsbRequestLayout.data + USBDevice::kRequestDataLimit>;
static_assert(sizeof(Scratch) >= kNewUsbRequestLayout.data + USBDevice::kRequestDataLimit);
static_assert(sizeof(Scratch) >= VQ_Dispatch::kSize);

}  // namespace

bool USBDevice::request(EDirection direction, EDRQ_Level level, EDRQ_Recipient recipient,
                        unsigned char request, unsigned short value, unsigned short index,
                        char* buffer, unsigned short length, bool newLayout) {
  if (!isOpen() || length > kRequestDataLimit) return false;
  const UsbRequestLayout& layout =
      driverVersion_.major == 1 && !newLayout ? kOldUsbRequestLayout : kNewUsbRequestLayout;

  Scratch scratch = {};
  wire::store(scratch, 0, static_cast<std::uint32_t>(VQ_Command::kUsbRequest));
  wire::store(scratch, layout.direction, std::uint32_t{direction});
  wire::store(scratch, layout.level, std::uint32_t{level});
  wire::store(scratch, layout.recipient, std::uint32_t{recipient});
  wire::store<std::uint8_t>(scratch, layout.request, request);
  wire::store<std::uint16_t>(scratch, layout.value, value);
  wire::store<std::uint16_t>(scratch, layout.index, index);
  wire::store<std::uint32_t>(scratch, layout.length, length);

  // The data is written after the setup fields, and without data the whole area is cleared. In the
  // new layout the area overlaps the setup fields, so both can overwrite them. That is the record
  // drivers expect.
  const auto data = std::span(scratch).subspan(layout.data, kRequestDataLimit);
  if (buffer && length > 0) {
    std::copy_n(buffer, length, data.begin());
  } else {
    std::fill(data.begin(), data.end(), std::uint8_t{0});
  }

  VQ_Dispatch record;
  std::copy_n(scratch.begin(), record.bytes.size(), record.bytes.begin());
  if (!dispatch(record, true)) return false;
  std::copy(record.bytes.begin(), record.bytes.end(), scratch.begin());

  if (direction == EDIR_DeviceToHost && buffer) {
    const auto answered = wire::load<std::uint32_t>(scratch, layout.length);
    std::copy_n(data.begin(), std::min<std::uint32_t>(answered, length), buffer);
  }
  return true;
}
