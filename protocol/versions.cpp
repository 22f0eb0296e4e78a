// SPDX-License-Identifier: MIT
#include "protocol/versions.h"

namespace {

// Byte 0 is the lowest.
std::uint32_t byteOf(std::uint32_t word, unsigned index) { return (word >> (8 * index)) & 255; }

}  // namespace

DriverVersion DriverVersion::decode(std::uint32_t word) {
  DriverVersion version = {byteOf(word, 3), kNoSub, byteOf(word, 2), byteOf(word, 1),
                           byteOf(word, 0)};
  if (version.major >= 17) {
    version.sub = version.major & 15;
    version.major >>= 4;
  }
  return version;
}

FirmwareVersion FirmwareVersion::decode(std::uint32_t word) {
  return {byteOf(word, 3), byteOf(word, 2), byteOf(word, 1), byteOf(word, 0)};
}

std::uint32_t FirmwareVersion::encode() const {
  return (major << 24) | (minor << 16) | (third << 8) | fourth;
}

FirmwareVersion FirmwareVersion::fromAnswer(const Answer& answer) {
  const std::uint32_t digits = answer[2];
  return {answer[1], digits / 10, digits % 10, answer[0]};
}

FirmwareVersion::Answer FirmwareVersion::toAnswer() const {
  return {static_cast<std::uint8_t>(fourth), static_cast<std::uint8_t>(major),
          static_cast<std::uint8_t>(10 * minor + third)};
}
