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

  // Calls `action` once after `delay`, instead of what was started before. The action may start or
  // stop the timer, and may destroy it. False when there is no timer to be had: nothing is called.
  bool start(std::chrono::milliseconds delay, std::function<void()> action);
  void stop();
  bool running() const { return action_ != nullptr; }

 private:
  static int elapsed(sd_event_source* source, std::uint64_t time, void* timer);

  sd_event* event_;
  EventSource source_;
  std::function<void()> action_;
};

}  // namespace driver
