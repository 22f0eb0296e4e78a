// SPDX-License-Identifier: MIT
// Calls to the driver service that wait for the reply.
//
// They have a bus connection of their own, on which nothing but replies arrives. So waiting for one
// neither swallows nor reorders what the drivers announce meanwhile on the other connection.
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

class DriverCalls {
 public:
  // Begins to connect; false when there is no bus. The connection has to be processed until it is
  // ready before the first call. If the bus drops it alone, a later call makes another, at most
  // once in a while; see Pause.
  bool connect();
  sd_bus* bus() const { return bus_.get(); }

  // The unique name of the driver service, to which all calls go; empty for none. A new owner is
  // not taken for hung because the one before was.
  void setOwner(std::string owner);

  // Failure leaves `properties` untouched.
  IOReturn readProperties(const std::string& path, CFDictionary* properties);
  // Failure leaves `channel` untouched.
  IOReturn open(const std::string& path, std::uint32_t type, const Deadline& deadline,
                std::optional<Channel>* channel);

 private:
  IOReturn makeSureOfBus(const Deadline& deadline);
  BusMessage newCall(const std::string& path, const char* interface, const char* member) const;
  // Sends `request` and waits for the reply. Once a driver has let the time pass, calls fail at
  // once for a while; see Pause.
  IOReturn call(sd_bus_message* request, const Deadline& deadline, BusMessage* reply);

  Bus bus_;
  std::string owner_;
  Pause silence_;
  Pause reconnected_;
};

}  // namespace device_registry
