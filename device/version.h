// SPDX-License-Identifier: MIT
// Versions of the driver and of an interface's firmware, as numbers and as text. Plain values; any
// thread.
#pragma once

#include <cstdint>

#include "protocol/dispatch.h"

struct VqVersion {
  std::uint32_t major = 0;
  std::uint32_t sub = 0;  // driver only; DriverVersion::kNoSub if there is no second number
  std::uint32_t minor = 0;
  // Driver: as in DriverVersion. Firmware: the third number.
  std::uint32_t stage = 0;
  // Driver: the build number. Firmware: the fourth number.
  std::uint32_t build = 0;
  // Driver: '0'. Firmware: the lowest byte of the packed version number.
  char letter = 0;
  // The rendered version, always NUL-terminated.
  char text[64] = {};
  // Firmware only: its date as the driver writes it, at most 15 characters, always NUL-terminated.
  char date[kFirmwareDateSize] = {};
};

// Decode a version number (protocol/versions.h) into the number fields and render `text`.
VqVersion _vqapiDecodeDriverVersion(std::uint32_t packed);
VqVersion _vqapiDecodeFirmwareVersion(std::uint32_t packed);

// Renders `text` in the driver's form: "2.05.b3"; a release with a second number as "1.2.3".
void _vqapiMakeVersionString(VqVersion& version);
// Both render `text` from major, minor and stage as "1.2.3".
void _vqapiMakeVersionStringStd(VqVersion& version);
void _vqapiMakeVersionStringFirmware(VqVersion& version);
