// SPDX-License-Identifier: MIT
// The sample clock of the virtual interface: sample rate, clock source and digital input, which
// depend on each other.
//
// The clock runs on the digital input when that is chosen, or in the automatic choice, for as long
// as the input carries a valid signal of a rate that the interface supports; otherwise it runs on
// the internal clock at the last rate.
#pragma once

#include "protocol/records.h"

namespace driver {

class SampleClock {
 public:
  std::uint32_t rate() const { return rate_; }
  VQE_ClockSource chosen() const { return chosen_; }
  // What the clock runs on: internal or digital.
  VQE_ClockSource effective() const;
  const VQ_DigitalStatus& digitalInput() const { return digitalInput_; }

  // False, and nothing changed, for the digital input while the clock could not run on it.
  bool choose(VQE_ClockSource source);

  // False, and nothing changed, for a rate that is not in kSampleRates, or another than the digital
  // input's while the clock runs on that.
  bool setRate(std::uint32_t rate);

  void setDigitalInput(VQ_DigitalStatus input);

  bool operator==(const SampleClock&) const = default;

 private:
  bool canRunOnDigitalInput() const;
  void follow();

  VQE_ClockSource chosen_ = kClockAutomatic;
  std::uint32_t rate_ = 48000;
  VQ_DigitalStatus digitalInput_;
};

}  // namespace driver
