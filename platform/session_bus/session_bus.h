// SPDX-License-Identifier: MIT
// Owners of sd-bus handles, and a session bus connection that is opened within a time limit. No
// seam: for back ends, the driver service and the tool. A bus connection and its messages belong to
// one thread.
#pragma once

#include <systemd/sd-bus.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <span>
#include <string>

namespace session_bus {

// The bus's own service: its name, which its interface has too, and its object.
inline constexpr const char* kBusName = "org.freedesktop.DBus";
inline constexpr const char* kBusPath = "/org/freedesktop/DBus";

// The match for the signal that `name`'s owner has changed.
inline std::string ownerChangeMatch(const std::string& name) {
  return std::string("type='signal',sender='") + kBusName + "',interface='" + kBusName +
         "',path='" + kBusPath + "',member='NameOwnerChanged',arg0='" + name + "'";
}

struct Release {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
// Closing drops unsent messages without flushing: a bus that hangs must not block the process.
using Bus = std::unique_ptr<sd_bus, Release>;
using BusMessage = std::unique_ptr<sd_bus_message, Release>;
// A pending call, a match or an exported object. Releasing it cancels it: its handler is not called
// again.
using BusSlot = std::unique_ptr<sd_bus_slot, Release>;

// The point in time at which an operation times out, all of its steps together.
class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Deadline(int milliseconds)
      : end_(Clock::now() + std::chrono::milliseconds(milliseconds)) {}

  bool hasPassed() const { return Clock::now() >= end_; }

  // The time left for poll(), rounded up, so that it is 0 only after the deadline.
  int milliseconds() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
  }

 private:
  Clock::time_point end_;
};

// The path of the session bus's socket: the first in DBUS_SESSION_BUS_ADDRESS, or "bus" in
// XDG_RUNTIME_DIR when no address is set. Empty when there is none: an abstract socket has no path.
std::string sessionBusSocketPath();

// Why the session bus cannot be reached, for the user, from a negative errno.
std::string reasonOf(int result);

// Starts to connect to the session bus. The caller processes *bus until sd_bus_is_ready(). Returns
// a negative errno and sets *bus to null on failure.
int startSessionBus(Bus* bus);

// Connects to the session bus and waits until it is ready, at most `limitMs` milliseconds. Blocking
// calls on *bus then have the same limit. Returns 0, or a negative errno with *bus unchanged;
// -ETIMEDOUT when the bus does not answer in time.
int openSessionBus(int limitMs, Bus* bus);

// Waits until sd-bus can process one of `buses`, a signal arrives or the deadline passes.
void waitForBuses(std::span<sd_bus* const> buses, const Deadline& deadline);

}  // namespace session_bus
