// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstring>

#include "device/usb_device.h"

namespace {

std::optional<VQ_Command> commandOf(int controlCode) {
  switch (controlCode) {
    case kControlCodeString0:
      return VQ_Command::kGetString0;
    case kControlCodeString1:
      return VQ_Command::kGetString1;
    case kControlCodeDeviceDescriptor:
      return VQ_Command::kGetDeviceDescriptor;
    case kControlCodeUsbSpeed:
      return VQ_Command::kGetUsbSpeed;
    case kControlCodeDriverVersion:
      return VQ_Command::kGetDriverVersion;
    case kControlCode56:
      return VQ_Command::kControlCode56;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool USBDevice::DeviceIoControl(unsigned int handle, int code, void*, std::uint32_t, void* out,
                                std::uint32_t outSize, std::uint32_t* returned, void*) {
  if (returned) *returned = 0;
  if (handle == 0) return false;
  const std::optional<VQ_Command> command = commandOf(code);
  if (!command) return false;

  VQ_Dispatch record(*command);
  if (!dispatch(record, true)) return false;

  const std::size_t size = out ? std::min<std::size_t>(outSize, VQ_Dispatch::kPayloadSize) : 0;
  if (size == 0) return true;
  const bool isText = code == kControlCodeString0 || code == kControlCodeString1;
  if (isText) record.payload()[size - 1] = 0;
  std::memcpy(out, record.payload().data(), size);
  if (returned) *returned = static_cast<std::uint32_t>(size);
  return true;
}
