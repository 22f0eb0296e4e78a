// SPDX-License-Identifier: MIT
#include "io/status_texts.h"

#include <algorithm>

namespace {

std::string kilohertzText(std::uint32_t hertz) {
  std::string text = std::to_string(hertz / 1000);
  if (hertz % 1000 != 0) text += "." + std::to_string(hertz % 1000 / 100);
  return text + " kHz";
}

}  // namespace

const char* connectionText(bool usb2) { return usb2 ? "USB 2.0" : "USB 1.1 (unsupported) "; }

std::string sampleRateText(std::uint32_t hertz) {
  const bool isKnown = std::ranges::find(kSampleRates, hertz) != kSampleRates.end();
  return kilohertzText(isKnown ? hertz : kSampleRates.front());
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
