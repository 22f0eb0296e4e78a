// SPDX-License-Identifier: MIT
// The time by which a call has to be over, all of its steps together.
#pragma once

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/device_registry/device_registry.h"

namespace device_registry {

class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Deadline(int milliseconds)
      : end_(Clock::now() + std::chrono::milliseconds(milliseconds)) {}

  bool hasPassed() const { return Clock::now() >= end_; }

  // What is left, rounded up for poll(): 0 only when nothing is.
  int milliseconds() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
  }

 private:
  Clock::time_point end_;
};

// Runs from its start for kRegistryPauseMs, or until nobody asks for kRegistryBreakMs: whoever asks
// after that is not the one whose calls failed, and deserves a new attempt. Not running at first.
class Pause {
 public:
  void start() {
    end_ = Clock::now() + std::chrono::milliseconds(kRegistryPauseMs);
    asked_ = Clock::now();
  }
  bool isRunning() {
    const auto now = Clock::now();
    if (now - std::exchange(asked_, now) > std::chrono::milliseconds(kRegistryBreakMs)) end_ = now;
    return now < end_;
  }

 private:
  using Clock = std::chrono::steady_clock;

  Clock::time_point end_ = Clock::time_point::min();
  Clock::time_point asked_{};
};

}  // namespace device_registry
