// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/sample_clock.h"

#include <algorithm>

namespace driver {

namespace {

// A measured rate belongs to the supported rate that it misses by at most one percent; 0 for none.
std::uint32_t supportedRateNear(std::uint32_t measured) {
  for (const std::uint32_t rate : kSampleRates) {
    const std::uint32_t tolerance = rate / 100;
    if (measured >= rate - tolerance && measured <= rate + tolerance) return rate;
  }
  return 0;
}

bool hasRate(DigitalSignal signal) {
  return signal == DigitalSignal::valid || signal == DigitalSignal::muted;
}

}  // namespace

ClockSource SampleClock::effective() const {
  return chosen_ != ClockSource::internal && canRunOnDigitalInput() ? ClockSource::digital
                                                                    : ClockSource::internal;
}

bool SampleClock::choose(ClockSource source) {
  if (source == ClockSource::digital && !canRunOnDigitalInput()) return false;
  chosen_ = source;
  follow();
  return true;
}

bool SampleClock::setRate(std::uint32_t rate) {
  if (effective() == ClockSource::digital) return rate == rate_;
  if (std::find(kSampleRates.begin(), kSampleRates.end(), rate) == kSampleRates.end()) return false;
  rate_ = rate;
  return true;
}

void SampleClock::setDigitalInput(DigitalInput input) {
  if (!hasRate(input.signal)) input.rate = 0;
  digitalInput_ = input;
  follow();
}

bool SampleClock::canRunOnDigitalInput() const {
  return digitalInput_.signal == DigitalSignal::valid && supportedRateNear(digitalInput_.rate) != 0;
}

void SampleClock::follow() {
  if (effective() == ClockSource::digital) rate_ = supportedRateNear(digitalInput_.rate);
}

}  // namespace driver
