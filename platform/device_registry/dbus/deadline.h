// The time by which a call has to be over, all of its steps together.
#pragma once

#include <algorithm>
#include <chrono>

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

// Says no until an interval has passed since it was started. Not running at first.
class Pause {
 public:
  void start(int milliseconds) { end_ = Clock::now() + std::chrono::milliseconds(milliseconds); }
  bool isRunning() const { return Clock::now() < end_; }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point end_ = Clock::time_point::min();
};

}  // namespace device_registry
