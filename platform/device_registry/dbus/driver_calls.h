// SPDX-License-Identifier: MIT
// Calls to the driver service that wait for the reply.
//
// They use a bus connection of their own, on which only replies arrive. So waiting for a reply
// neither loses nor reorders the driver's signals, which arrive on the connection of DriverBus.
// Thread: that of the registry's operations.
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

// A pause in which calls fail at once. It ends kRegistryPauseMs after start(), or earlier when
// isRunning() was not called for kRegistryBreakMs: a call after such a break belongs to a new
// action of the user and is tried again. Not running at first.
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
  // Starts to connect to the bus; false when there is no bus. Before the first call, the caller
  // processes bus() until it is ready. If the bus closes this connection, the next call opens a new
  // one, at most one per Pause.
  bool connect();
  sd_bus* bus() const { return bus_.get(); }

  // Sets the unique name of the driver service, which receives the calls; empty for none. Ends a
  // pause that the previous owner caused.
  void setOwner(std::string owner);

  // On failure `properties` is unchanged.
  IOReturn readProperties(const std::string& path, CFDictionary* properties);
  // On failure `channel` is unchanged.
  IOReturn open(const std::string& path, std::uint32_t type, const Deadline& deadline,
                std::optional<Channel>* channel);

 private:
  IOReturn makeSureOfBus(const Deadline& deadline);
  BusMessage newCall(const std::string& path, const char* interface, const char* member) const;
  // Sends `request` and waits for the reply. After a time-out, calls fail at once during a Pause.
  IOReturn call(sd_bus_message* request, const Deadline& deadline, BusMessage* reply);

  Bus bus_;
  std::string owner_;
  Pause silence_;
  Pause reconnected_;
};

}  // namespace device_registry
