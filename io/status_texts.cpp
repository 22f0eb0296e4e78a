// SPDX-License-Identifier: MIT
#include "io/status_texts.h"

namespace {

// The lock state of the digital input; any other value means that there is no signal.
constexpr std::uint32_t kLockInvalid = 1;
constexpr std::uint32_t kLockValid = 2;
constexpr std::uint32_t kLockMuted = 3;

std::string kilohertzText(std::uint32_t hertz) {
  std::string text = std::to_string(hertz / 1000);
  if (hertz % 1000 != 0) text += "." + std::to_string(hertz % 1000 / 100);
  return text + " kHz";
}

}  // namespace

const char* connectionText(bool usb2) { return usb2 ? "USB 2.0" : "USB 1.1 (unsupported) "; }

const char* sampleRateText(std::uint32_t hertz) {
  switch (hertz) {
    case 48000:
      return "48 kHz";
    case 88200:
      return "88.2 kHz";
    case 96000:
      return "96 kHz";
    default:
      return "44.1 kHz";
  }
}

bool hasValidSignal(const VQ_DigitalStatus& digitalInput) {
  return digitalInput.lockState == kLockValid;
}

const char* clockSourceText(std::int32_t clockSource, bool validSignal) {
  switch (clockSource) {
    case kClockInternal:
      return "internal";
    case kClockDigitalInput:
      return "digital input";
    case kClockAutomatic:
      return validSignal ? "digital input" : "internal";
    default:
      return "unknown";
  }
}

std::string digitalInputText(std::int32_t clockSource, const VQ_DigitalStatus& digitalInput) {
  if (clockSource == kClockInternal) return "unavailable";
  switch (digitalInput.lockState) {
    case kLockInvalid:
      return "no valid signal";
    case kLockValid:
      return "valid " + kilohertzText(digitalInput.rate);
    case kLockMuted:
      return "muted " + kilohertzText(digitalInput.rate);
    default:
      return "no signal";
  }
}
