// SPDX-License-Identifier: MIT
#include "device/version.h"

#include <cstdio>

#include "protocol/versions.h"

namespace {

// Version numbers are rendered as signed 32-bit integers.
int shown(std::uint32_t number) { return static_cast<std::int32_t>(number); }

const char* stageLetters(std::uint32_t stage) {
  switch (stage) {
    case 1:
      return "a";
    case 2:
      return "b";
    case 3:
      return "rc";
    default:
      return "d";
  }
}

}  // namespace

VqVersion _vqapiDecodeDriverVersion(std::uint32_t packed) {
  const DriverVersion decoded = DriverVersion::decode(packed);
  VqVersion version;
  version.major = decoded.major;
  version.sub = decoded.sub;
  version.minor = decoded.minor;
  version.stage = decoded.stage;
  version.build = decoded.build;
  version.letter = '0';
  _vqapiMakeVersionString(version);
  return version;
}

VqVersion _vqapiDecodeFirmwareVersion(std::uint32_t packed) {
  const FirmwareVersion decoded = FirmwareVersion::decode(packed);
  VqVersion version;
  version.major = decoded.major;
  version.minor = decoded.minor;
  version.stage = decoded.third;
  version.build = decoded.fourth;
  version.letter = static_cast<char>(decoded.fourth);
  _vqapiMakeVersionStringFirmware(version);
  return version;
}

void _vqapiMakeVersionString(VqVersion& version) {
  char middle[32];
  if (version.sub == DriverVersion::kNoSub) {
    std::snprintf(middle, sizeof middle, "%02d", shown(version.minor));
  } else {
    std::snprintf(middle, sizeof middle, "%d.%d", shown(version.sub), shown(version.minor));
  }
  if (version.stage == DriverVersion::kRelease) {
    std::snprintf(version.text, sizeof version.text, "%d.%s", shown(version.major), middle);
  } else {
    std::snprintf(version.text, sizeof version.text, "%d.%s.%s%d", shown(version.major), middle,
                  stageLetters(version.stage), shown(version.build));
  }
}

void _vqapiMakeVersionStringStd(VqVersion& version) {
  std::snprintf(version.text, sizeof version.text, "%d.%d.%d", shown(version.major),
                shown(version.minor), shown(version.stage));
}

void _vqapiMakeVersionStringFirmware(VqVersion& version) { _vqapiMakeVersionStringStd(version); }
