// SPDX-License-Identifier: MIT
// The sample clock of the virtual interface: sample rate, clock source and digital input, which
// depend on each other.
//
// The clock runs on the digital input when that is chosen, or in the automatic choice, for as long
// as the input carries a valid signal of a rate that the interface supports; otherwise it runs on
// the internal clock at the last rate.
#pragma once

#include <array>
#include <cstdint>

namespace driver {

enum class ClockSource : std::uint32_t { automatic = 0, internal = 1, digital = 2 };

enum class DigitalSignal : std::uint32_t { none = 0, invalid = 1, valid = 2, muted = 3 };

struct DigitalInput {
  DigitalSignal signal = DigitalSignal::none;
  std::uint32_t rate = 0;  // Hz as measured; 0 without a signal that has one

  bool operator==(const DigitalInput&) const = default;
};

inline constexpr std::array<std::uint32_t, 4> kSampleRates = {44100, 48000, 88200, 96000};

class SampleClock {
 public:
  std::uint32_t rate() const { return rate_; }
  ClockSource chosen() const { return chosen_; }
  // What the clock runs on: internal or digital.
  ClockSource effective() const;
  const DigitalInput& digitalInput() const { return digitalInput_; }

  // False, and nothing changed, for the digital input while the clock could not run on it.
  bool choose(ClockSource source);

  // False, and nothing changed, for a rate that is not in kSampleRates, or another than the digital
  // input's while the clock runs on that.
  bool setRate(std::uint32_t rate);

  void setDigitalInput(DigitalInput input);

  bool operator==(const SampleClock&) const = default;

 private:
  bool canRunOnDigitalInput() const;
  void follow();

  ClockSource chosen_ = ClockSource::automatic;
  std::uint32_t rate_ = 48000;
  DigitalInput digitalInput_;
};

}  // namespace driver
