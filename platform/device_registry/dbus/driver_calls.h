// SPDX-License-Identifier: MIT
// Calls to the driver service that wait for the reply.
//
// They have a bus connection of their own, on which only replies arrive. So waiting for a reply
// neither consumes nor reorders the announcements on the other connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/device_registry/dbus/channel.h"
#include "platform/device_registry/device_registry.h"

namespace device_registry {

using session_bus::Bus;
using session_bus::BusMessage;
using session_bus::BusSlot;

// A timer that ends kRegistryPauseMs after its start, or when isRunning() has not been called for
// kRegistryBreakMs: a caller after such a break is a new user action, not the series of calls that
// failed. Not running at first.
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

// Reads the dictionary of texts to variants ("a{sv}") that comes next in `message` and moves behind
// it. Integers of every width become numbers, paths and signatures texts, byte arrays data,
// dictionaries with text keys dictionaries and other arrays arrays. Entries of other types are left
// out. nullopt when the message holds no such dictionary or is damaged.
std::optional<CFDictionary> readDictionary(sd_bus_message* message);

class DriverCalls {
 public:
  // Starts to connect; false when there is no bus. The connection has to be processed until it is
  // ready before the first call. When the bus drops it, a later call reconnects, at most once per
  // Pause.
  bool connect();
  sd_bus* bus() const { return bus_.get(); }

  // Sets the unique name of the driver service, to which all calls go; empty for no driver. Ends
  // the pause after a call to the previous owner timed out.
  void setOwner(std::string owner);

  // The driver answers again: calls are made at once.
  void endPause() { silence_ = Pause(); }

  // Failure leaves `properties` untouched.
  IOReturn readProperties(const std::string& path, const Deadline& deadline,
                          CFDictionary* properties);
  // Failure leaves `channel` untouched.
  IOReturn open(const std::string& path, std::uint32_t type, const Deadline& deadline,
                std::optional<Channel>* channel);

 private:
  IOReturn makeSureOfBus(const Deadline& deadline);
  BusMessage newCall(const std::string& path, const char* interface, const char* member) const;
  // Sends `request` and waits for the reply. After a timeout, calls fail at once during a Pause.
  IOReturn call(sd_bus_message* request, const Deadline& deadline, BusMessage* reply);

  Bus bus_;
  std::string owner_;
  Pause silence_;
  Pause reconnected_;
};

}  // namespace device_registry
