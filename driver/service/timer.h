// SPDX-License-Identifier: MIT
// A one-shot timer on the driver's event loop.
#pragma once

#include <chrono>
#include <functional>

#include "driver/service/handles.h"

namespace driver {

class Timer {
 public:
  explicit Timer(sd_event* event) : event_(event) {}

  // Calls `action` once after `delay` and cancels the action started before. The action may start,
  // stop or destroy the timer. False when no timer can be made: nothing is called.
  bool start(std::chrono::milliseconds delay, std::function<void()> action);
  void stop();
  bool running() const { return action_ != nullptr; }

 private:
  static int elapsed(sd_event_source* source, std::uint64_t time, void* timer) noexcept;

  sd_event* event_;
  EventSource source_;
  std::function<void()> action_;
};

}  // namespace driver
