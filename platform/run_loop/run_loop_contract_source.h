// SPDX-License-Identifier: MIT
// A run loop source for the contract tests, which counts how often it was performed.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <utility>

#include "platform/run_loop/run_loop.h"

namespace run_loop_contract {

// Long enough for any machine; a test that reaches it fails.
inline constexpr double kLimit = 30;  // seconds

class CountingSource : public CFRunLoopSource {
 public:
  CountingSource() : event_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
  ~CountingSource() override { close(event_); }

  int descriptor() const override { return event_; }

  void perform() override {
    std::uint64_t signals = 0;
    if (read(event_, &signals, sizeof signals) != sizeof signals) return;
    ++workDone_;
    if (const auto action = action_) action();
  }

  // Any thread.
  void signal() const {
    const std::uint64_t one = 1;
    if (write(event_, &one, sizeof one) != sizeof one) std::abort();
  }

  // Calls `action` at each perform().
  void onWork(std::function<void()> action) { action_ = std::move(action); }

  int workDone() const { return workDone_; }

 private:
  int event_;
  int workDone_ = 0;
  std::function<void()> action_;
};

}  // namespace run_loop_contract
