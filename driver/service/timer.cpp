// SPDX-License-Identifier: MIT
#include "driver/service/timer.h"

#include <ctime>

namespace driver {

bool Timer::start(std::chrono::milliseconds delay, std::function<void()> action) {
  stop();
  sd_event_source* source = nullptr;
  const auto microseconds = static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(delay).count());
  if (sd_event_add_time_relative(event_, &source, CLOCK_MONOTONIC, microseconds, 1000,
                                 &Timer::elapsed, this) < 0) {
    return false;
  }
  source_.reset(source);
  action_ = std::move(action);
  return true;
}

void Timer::stop() {
  source_.reset();
  action_ = nullptr;
}

int Timer::elapsed(sd_event_source*, std::uint64_t, void* self) noexcept {
  auto* timer = static_cast<Timer*>(self);
  const auto action = std::move(timer->action_);
  timer->stop();
  action();
  return 0;
}

}  // namespace driver
