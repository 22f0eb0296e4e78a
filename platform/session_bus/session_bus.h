// SPDX-License-Identifier: MIT
// What programs share of the session bus: owners of the bus library's handles, and a connection
// that is opened within a time limit. No seam: the logic includes none of this.
#pragma once

#include <systemd/sd-bus.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <span>

namespace session_bus {

struct Release {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
// Closing drops what the bus has not taken yet: a bus that hangs must not keep the process.
using Bus = std::unique_ptr<sd_bus, Release>;
using BusMessage = std::unique_ptr<sd_bus_message, Release>;
// A pending call, a match or an object; releasing it ends it, and its handler is not called any
// more.
using BusSlot = std::unique_ptr<sd_bus_slot, Release>;

// The time by which a call has to be over, all of its steps together.
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

// A connection that is still being set up: process it until sd_bus_is_ready(). Negative errno, and
// no connection, on failure.
int startSessionBus(Bus* bus);

// Waits until the bus has let this process in, at most `limitMs`: 0, or negative errno with *bus
// left alone, -ETIMEDOUT for a bus that does not answer. Blocking calls on the bus wait as long.
int openSessionBus(int limitMs, Bus* bus);

// Waits until one of `buses` has something to process or the deadline passes.
void waitForBuses(std::span<sd_bus* const> buses, const Deadline& deadline);

}  // namespace session_bus
