// SPDX-License-Identifier: MIT
// Versions of the driver and of an interface's firmware, as numbers and as text. Any thread.
#pragma once

#include <cstdint>

#include "protocol/dispatch.h"

struct VqVersion {
  // As VqVersion::sub: the driver version has no second number.
  static constexpr std::uint32_t kNoSub = 15;
  // As VqVersion::stage of a driver version: a release.
  static constexpr std::uint32_t kRelease = 4;

  std::uint32_t major = 0;
  std::uint32_t sub = 0;
  std::uint32_t minor = 0;
  // Driver: 0 development, 1 alpha, 2 beta, 3 release candidate, 4 release. Firmware: its third
  // number.
  std::uint32_t stage = 0;
  // Driver: build number. Firmware: its fourth number.
  std::uint32_t build = 0;
  // '0' for the driver, the lowest byte of the version number for firmware.
  char letter = 0;
  // The rendered version. Always terminated.
  char text[64] = {};
  // Firmware only: the driver's text for its date, at most 15 characters. Always terminated.
  char date[kFirmwareDateSize] = {};
};

// Splits a driver's or a firmware's packed version number into the number fields of a fresh record
// and renders it. A driver word's leading byte is the major number, or from 17 on two digits: major
// and second number.
VqVersion _vqapiDecodeDriverVersion(std::uint32_t packed);
VqVersion _vqapiDecodeFirmwareVersion(std::uint32_t packed);

// Write the text from the numbers. Driver form: "2.05.b3", a release with a second number "1.2.3".
void _vqapiMakeVersionString(VqVersion& version);
// Major, minor and stage as "1.2.3"; the same under two names.
void _vqapiMakeVersionStringStd(VqVersion& version);
void _vqapiMakeVersionStringFirmware(VqVersion& version);
