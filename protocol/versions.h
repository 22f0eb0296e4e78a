// SPDX-License-Identifier: MIT
// Version numbers of the driver and of the firmware, as drivers send them. Plain values; any
// thread.
#pragma once

#include <array>
#include <cstdint>

// The driver's: four bytes of a word, highest first. A first byte of 17 or more holds two 4-bit
// numbers, `major` and `sub`.
struct DriverVersion {
  // Value of `sub` in a version without a second number.
  static constexpr std::uint32_t kNoSub = 15;
  // Value of `stage` in the version of a released driver.
  static constexpr std::uint32_t kRelease = 4;

  std::uint32_t major = 0;
  std::uint32_t sub = kNoSub;
  std::uint32_t minor = 0;
  std::uint32_t stage = 0;  // 0 development, 1 alpha, 2 beta, 3 release candidate, 4 release
  std::uint32_t build = 0;

  static DriverVersion decode(std::uint32_t word);
  bool operator==(const DriverVersion&) const = default;
};

// The firmware's: four bytes of a word, highest first.
struct FirmwareVersion {
  using Answer = std::array<std::uint8_t, 3>;

  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t third = 0;
  std::uint32_t fourth = 0;

  static FirmwareVersion decode(std::uint32_t word);
  std::uint32_t encode() const;

  // The interface's own answer, to kFirmwareVersionRequest (protocol/usb_request.h): `fourth`,
  // `major`, and the lowest 8 bits of 10 times `minor` plus `third`. fromAnswer() takes the last
  // byte's last decimal digit as `third`.
  static FirmwareVersion fromAnswer(const Answer& answer);
  Answer toAnswer() const;
  bool operator==(const FirmwareVersion&) const = default;
};
