// SPDX-License-Identifier: MIT
// The USB control request that a record of VQ_Command::kUsbRequest carries, and its answer. Plain
// values; any thread.
#pragma once

#include <cstdint>
#include <span>

#include "protocol/dispatch.h"

// The parts of a request's type, and the requests that the VX-310 has.
enum EDirection : std::uint32_t { EDIR_HostToDevice = 0, EDIR_DeviceToHost = 128 };
enum EDRQ_Level : std::uint32_t { EDRQ_Vendor = 64 };
enum EDRQ_Recipient : std::uint32_t { EDRQ_Device = 0 };
inline constexpr std::uint8_t kReplugRequest = 0x52;
// Answered with FirmwareVersion::toAnswer (protocol/versions.h).
inline constexpr std::uint8_t kFirmwareVersionRequest = 0x56;

// Where the fields of a request stand in its record, which does not name its layout. Drivers of
// major version kOldLayoutMajor take the old layout and, from callers that ask for it, the new
// layout; all others take only the new layout.
enum class UsbRequestLayout { kOld, kNew };
inline constexpr std::uint32_t kOldLayoutMajor = 1;

struct UsbRequest {
  // Maximum data of a request, in bytes. In the old layout the record ends after the first 232.
  static constexpr std::uint32_t kDataLimit = 256;

  EDirection direction = EDIR_HostToDevice;
  EDRQ_Level level = EDRQ_Vendor;
  EDRQ_Recipient recipient = EDRQ_Device;
  std::uint8_t request = 0;
  std::uint16_t value = 0;
  std::uint16_t index = 0;
  std::uint32_t length = 0;  // of the data, in bytes

  bool operator==(const UsbRequest&) const = default;

  // The record of this request with `data`. The data is stored after the other fields; without
  // data its whole area is cleared. In the new layout the area begins before the other fields and
  // reaches beyond them: data of more than 128 bytes overwrites them, and a request without data
  // clears them. Drivers expect these records.
  VQ_Dispatch encode(UsbRequestLayout layout, std::span<const std::uint8_t> data) const;

  // Reads all fields but the data.
  static UsbRequest decode(const VQ_Dispatch& record, UsbRequestLayout layout);
};

// Turns the record of a request into its answer: stores `data` and its length. The record keeps its
// other bytes.
void encodeUsbAnswer(VQ_Dispatch& record, UsbRequestLayout layout,
                     std::span<const std::uint8_t> data);

// The data of an answer: as many bytes as its length says, at most those that the record holds.
std::span<const std::uint8_t> decodeUsbAnswer(const VQ_Dispatch& record, UsbRequestLayout layout);
