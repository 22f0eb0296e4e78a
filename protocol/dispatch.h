// SPDX-License-Identifier: MIT
// The one record that crosses to the driver, and the numbers it carries.
//
// A record is 260 bytes, little-endian, sent and received in the same buffer:
//
//     0        4                                                   260
//     | command | payload, its meaning depends on the command        |
//
// Payload offsets below count from the start of the payload. It crosses in packets: a request is
// the method selector, 4 bytes, and the record; an answer is the record as returned, or the command
// alone when the request failed.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "protocol/wire.h"

// The method selector of records, its size before a record in bytes, and the type of the driver
// connection that takes records.
inline constexpr std::uint32_t kDispatchSelector = 0;
inline constexpr std::size_t kDispatchSelectorSize = 4;
inline constexpr std::uint32_t kDispatchConnectionType = 2;
// The size of an answer that refuses a request: the command number alone.
inline constexpr std::size_t kDispatchRefusalSize = 4;

// The commands of the driver. Two numbers have two uses each: 9 sets a configuration or a buffer
// size, depending on the payload; 38 both suspends streaming and reads the configuration status.
enum class VQ_Command : std::uint32_t {
  kGetDigitalOutSelector = 2,
  kSetDigitalOutSelector = 3,
  kReadLogicChip = 4,
  kWriteLogicChip = 5,
  kGetCountConfigurations = 6,
  kGetConfiguration = 7,
  kGetCurrentConfiguration = 8,
  kSetConfiguration = 9,
  kSetBufferSize = 9,
  kGetCountBufferSizes = 10,
  kGetBufferSize = 11,
  kGetCurrentBufferSize = 12,
  kCanClockSource = 14,
  kGetCurrentClockSource = 15,
  kSetClockSource = 16,
  kGetDigitalStatus = 17,
  kGetString0 = 18,
  kGetString1 = 19,
  kGetUsbSpeed = 20,
  kGetDeviceDescriptor = 21,
  kGetDriverVersion = 22,
  kGetFirmwareVersion = 23,
  kGetFirmwareDate = 24,
  kGetUSB1Mode = 25,
  kSetUSB1Mode = 26,
  kGetDigitalOutMode = 27,
  kSetDigitalOutMode = 28,
  kPrepareFirmwareUpdate = 33,
  kUsbRequest = 34,
  kReadLevelInfo = 35,
  kSendCPortBytes = 36,
  kResumeStreaming = 37,
  kGetConfigStatus = 38,
  kSuspendStreaming = 38,
  kSetRouting = 40,
  kGetWMRegister = 41,
  kSetWMRegister = 42,
  kControlCode56 = 48,
  kGetOutLevels = 49,
  kGetChannelMap = 65,
  kSetChannelMap = 66,
  kGetValueAtOpen = 67,
  kSetConfigurationAndChannelMap = 68,
  kGetConfigurationAndChannelMap = 69,
  kGetDeviceName = 70,
  kSetDeviceName = 71,
  kGetInLevels = 72,
  kReenumerateDevice = 76,
};

struct VQ_Dispatch {
  static constexpr std::size_t kSize = 260;
  static constexpr std::size_t kPayloadOffset = 4;
  static constexpr std::size_t kPayloadSize = kSize - kPayloadOffset;
  static constexpr std::size_t kPayloadWords = kPayloadSize / 4;

  std::array<std::uint8_t, kSize> bytes = {};

  VQ_Dispatch() = default;
  explicit VQ_Dispatch(VQ_Command command) { setCommand(command); }
  // `firstWord` becomes payload word 0.
  VQ_Dispatch(VQ_Command command, std::uint32_t firstWord) : VQ_Dispatch(command) {
    setWord(0, firstWord);
  }

  VQ_Command command() const {
    return static_cast<VQ_Command>(wire::load<std::uint32_t>(bytes, 0));
  }
  void setCommand(VQ_Command command) {
    wire::store(bytes, 0, static_cast<std::uint32_t>(command));
  }

  std::span<std::uint8_t, kPayloadSize> payload() {
    return std::span(bytes).subspan<kPayloadOffset>();
  }
  std::span<const std::uint8_t, kPayloadSize> payload() const {
    return std::span(bytes).subspan<kPayloadOffset>();
  }

  // Payload words by index; beyond the payload they read as 0 and are not stored.
  std::uint32_t word(std::size_t index) const {
    return wire::load<std::uint32_t>(payload(), 4 * index);
  }
  void setWord(std::size_t index, std::uint32_t value) { wire::store(payload(), 4 * index, value); }

  // The value at open, in the answer to its command: the payload's first 8 bytes, a 64-bit float.
  double valueAtOpen() const {
    return std::bit_cast<double>(wire::load<std::uint64_t>(payload(), 0));
  }
  void setValueAtOpen(double value) {
    wire::store(payload(), 0, std::bit_cast<std::uint64_t>(value));
  }
};
static_assert(sizeof(VQ_Dispatch) == VQ_Dispatch::kSize);

// --- The packet of a request ---

inline constexpr std::size_t kRequestPacketSize = kDispatchSelectorSize + VQ_Dispatch::kSize;

inline std::vector<std::uint8_t> requestPacket(std::uint32_t selector,
                                               std::span<const std::uint8_t> record) {
  std::vector<std::uint8_t> packet(kDispatchSelectorSize + record.size());
  wire::store(packet, 0, selector);
  std::copy(record.begin(), record.end(), packet.begin() + kDispatchSelectorSize);
  return packet;
}

// The record in a packet; nullopt when the packet has another size or another selector than
// kDispatchSelector.
inline std::optional<VQ_Dispatch> recordOf(std::span<const std::uint8_t> packet) {
  if (packet.size() != kRequestPacketSize) return std::nullopt;
  if (wire::load<std::uint32_t>(packet, 0) != kDispatchSelector) return std::nullopt;
  VQ_Dispatch record;
  std::copy(packet.begin() + kDispatchSelectorSize, packet.end(), record.bytes.begin());
  return record;
}

// --- Fields of payloads ---

// Sizes of texts in bytes, with the terminating zero byte.
inline constexpr std::size_t kStringSize = 64;
inline constexpr std::size_t kFirmwareDateSize = 16;
// A device name of this size has no zero byte.
inline constexpr std::size_t kDeviceNameSize = 32;

// Bytes for the control port: a byte with their count, then the bytes themselves, which are at most
// kControlPortLimit. No program calls controlPortRecord().
inline constexpr std::size_t kControlPortLimit = 255;
static_assert(1 + kControlPortLimit <= VQ_Dispatch::kPayloadSize);
inline VQ_Dispatch controlPortRecord(std::span<const std::uint8_t> bytes) {
  VQ_Dispatch record(VQ_Command::kSendCPortBytes);
  bytes = bytes.first(std::min(bytes.size(), kControlPortLimit));
  record.payload()[0] = static_cast<std::uint8_t>(bytes.size());
  wire::copyFitting(bytes, record.payload().subspan<1>());
  return record;
}
inline std::span<const std::uint8_t> controlPortBytes(const VQ_Dispatch& record) {
  return record.payload().subspan(1, record.payload()[0]);
}
