// SPDX-License-Identifier: MIT
// Decodes the sampling frequency of a channel status block.
#include "app/kv_controller.h"

namespace {

constexpr const char* kNotIndicated = "Freq not indicated";

// Byte 3, bits 0 to 3 (IEC 60958-3).
const char* consumerFrequency(unsigned code) {
  switch (code) {
    case 0:
      return "44.1 kHz.";
    case 2:
      return "48 kHz.";
    case 3:
      return "32 kHz.";
    case 8:
      return "88.2 kHz.";
    case 10:
      return "96 kHz.";
    case 12:
      return "176.4 kHz.";
    case 14:
      return "192 kHz.";
    default:
      return kNotIndicated;
  }
}

// Byte 4, bits 3 to 6 (IEC 60958-4); used when byte 0 indicates no frequency.
const char* extendedFrequency(unsigned code) {
  switch (code) {
    case 2:
      return "96 kHz.";
    case 3:
      return "192 kHz.";
    case 10:
      return "88.2 kHz.";
    case 11:
      return "176.4 kHz.";
    default:
      return kNotIndicated;
  }
}

// Byte 0, bits 6 and 7, read as a number whose high bit is bit 7.
const char* professionalFrequency(unsigned code, unsigned extendedCode) {
  switch (code) {
    case 1:
      return "44.1 kHz.";
    case 2:
      return "48 kHz.";
    case 3:
      return "32 kHz.";
    default:
      return extendedFrequency(extendedCode);
  }
}

}  // namespace

void KvController::decodeChannelStatus(const std::uint8_t* status) {
  const bool professional = status[0] & 1;
  KvDigitalInputStatusField.setStringValue(
      professional ? professionalFrequency(status[0] >> 6, (status[4] >> 3) & 15)
                   : consumerFrequency(status[3] & 15));
}
