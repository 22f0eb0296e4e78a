// SPDX-License-Identifier: MIT
// Finds out without waiting whether a driver answers: opens a connection to one of its services and
// requests the driver's version. The answer may arrive at any time later, or never.
#pragma once

#include <optional>
#include <string>

#include "platform/device_registry/dbus/channel.h"
#include "platform/session_bus/session_bus.h"

namespace device_registry {

class DriverProbe {
 public:
  // Sends the call over `bus`, whose processing carries the reply to `watcher`, an epoll descriptor
  // that then watches the connection as well. Both outlive the probe.
  DriverProbe(sd_bus* bus, int watcher, const std::string& owner, const std::string& path);
  DriverProbe(const DriverProbe&) = delete;
  DriverProbe& operator=(const DriverProbe&) = delete;

  enum class State { kWaiting, kAnswered, kRefused };
  // Reads the answer if it is there.
  State read();

 private:
  static int opened(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;
  void ask(sd_bus_message* reply);

  State state_ = State::kWaiting;
  int watcher_;
  session_bus::BusSlot call_;
  std::optional<Channel> channel_;
};

}  // namespace device_registry
