// SPDX-License-Identifier: MIT
// How long the main thread may wait for the driver between two turns of its run loop: each wait has
// a limit of its own, and this one keeps them from adding up. The device registry and the audio
// server share it. Main thread.
#pragma once

#include <algorithm>
#include <chrono>

class DriverWaits {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kLimit{1000};

  // A new turn begins.
  void renew() { left_ = limit_; }
  // For a program without a window, which may wait for as many calls as it makes.
  void unlimit() { left_ = limit_ = std::chrono::hours(24); }

  bool areLimited() const { return limit_ == kLimit; }

  // A call that may wait for the driver. Its whole duration counts.
  class Call {
   public:
    // At most `limitMs`, or what is left.
    Call(DriverWaits& waits, int limitMs) : waits_(waits), limitMs_(limitMs) {
      // No turn lasts a second without a call. So a client that no driver message wakes, whose
      // turns nobody announces, is not kept from waiting for good.
      if (start_ - waits_.lastEnd_ >= kLimit) waits_.renew();
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(waits_.left_);
      limitMs_ = std::clamp(static_cast<int>(left.count()), 0, limitMs);
    }
    ~Call() {
      waits_.lastEnd_ = Clock::now();
      waits_.left_ -= waits_.lastEnd_ - start_;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // 0 when the time is used up: the call fails at once.
    int limitMs() const { return limitMs_; }

   private:
    DriverWaits& waits_;
    Clock::time_point start_ = Clock::now();
    int limitMs_;
  };

 private:
  Clock::duration limit_ = kLimit;
  Clock::duration left_ = kLimit;
  Clock::time_point lastEnd_{};  // of the last call
};

inline DriverWaits& driverWaits() {
  static DriverWaits waits;
  return waits;
}
