// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/sample_clock.h"

#include <algorithm>

namespace driver {

namespace {

// The supported rate within one percent of a measured rate; 0 if there is none.
std::uint32_t supportedRateNear(std::uint32_t measured) {
  for (const std::uint32_t rate : kSampleRates) {
    const std::uint32_t tolerance = rate / 100;
    if (measured >= rate - tolerance && measured <= rate + tolerance) return rate;
  }
  return 0;
}

bool hasRate(std::uint32_t lockState) { return lockState == kLockValid || lockState == kLockMuted; }

}  // namespace

VQE_ClockSource SampleClock::effective() const {
  return chosen_ != kClockInternal && canRunOnDigitalInput() ? kClockDigitalInput : kClockInternal;
}

bool SampleClock::choose(VQE_ClockSource source) {
  if (source == kClockDigitalInput && !canRunOnDigitalInput()) return false;
  chosen_ = source;
  follow();
  return true;
}

bool SampleClock::setRate(std::uint32_t rate) {
  if (effective() == kClockDigitalInput) return rate == rate_;
  if (std::find(kSampleRates.begin(), kSampleRates.end(), rate) == kSampleRates.end()) return false;
  rate_ = rate;
  return true;
}

void SampleClock::setDigitalInput(VQ_DigitalStatus input) {
  if (!hasRate(input.lockState)) input.rate = 0;
  digitalInput_ = input;
  follow();
}

bool SampleClock::canRunOnDigitalInput() const {
  return digitalInput_.lockState == kLockValid && supportedRateNear(digitalInput_.rate) != 0;
}

void SampleClock::follow() {
  if (effective() == kClockDigitalInput) rate_ = supportedRateNear(digitalInput_.rate);
}

}  // namespace driver
