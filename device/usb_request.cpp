// SPDX-License-Identifier: MIT
#include "protocol/usb_request.h"

#include "device/usb_device.h"

bool USBDevice::request(EDirection direction, EDRQ_Level level, EDRQ_Recipient recipient,
                        unsigned char request, unsigned short value, unsigned short index,
                        char* buffer, unsigned short length, bool newLayout) {
  if (!isOpen() || length > UsbRequest::kDataLimit) return false;
  const UsbRequestLayout layout = driverVersion_.major == kOldLayoutMajor && !newLayout
                                      ? UsbRequestLayout::kOld
                                      : UsbRequestLayout::kNew;
  const std::span<std::uint8_t> data(reinterpret_cast<std::uint8_t*>(buffer), buffer ? length : 0);
  const UsbRequest setup = {direction, level, recipient, request, value, index, length};
  VQ_Dispatch record = setup.encode(layout, data);
  if (!dispatch(record, true)) return false;
  if (direction == EDIR_DeviceToHost) wire::copyFitting(decodeUsbAnswer(record, layout), data);
  return true;
}
