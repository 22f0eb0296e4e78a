// SPDX-License-Identifier: MIT
// One service that the driver publishes, and driver connections to it. Thread: that of the
// registry's operations.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/device_registry/core/service.h"
#include "platform/device_registry/dbus/channel.h"
#include "platform/device_registry/dbus/driver_calls.h"

namespace device_registry {

class DriverService : public Service {
 public:
  // `calls` must outlive the service's presence.
  DriverService(std::shared_ptr<Numbers> numbers, std::string className, std::string path,
                DriverCalls& calls)
      : Service(numbers, std::move(className)),
        numbers_(std::move(numbers)),
        path_(std::move(path)),
        calls_(calls) {}

  // Reads from the driver at each call, so the properties are never stale.
  IOReturn readProperties(CFDictionary* properties) override;
  IOReturn open(std::uint32_t type, std::shared_ptr<Connection>* connection) override;

 private:
  std::shared_ptr<Numbers> numbers_;
  std::string path_;
  DriverCalls& calls_;
};

class DriverConnection : public Connection {
 public:
  DriverConnection(std::shared_ptr<Numbers> numbers, std::string path, std::uint32_t type,
                   DriverCalls& calls, std::optional<Channel> channel)
      : Connection(std::move(numbers)),
        path_(std::move(path)),
        type_(type),
        calls_(calls),
        channel_(std::move(channel)) {}

  IOReturn call(std::uint32_t selector, std::span<const std::uint8_t> input,
                std::span<std::uint8_t> output, std::size_t* outputSize) override;

 private:
  IOReturn exchange(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output, std::size_t* outputSize);

  std::string path_;
  std::uint32_t type_;
  DriverCalls& calls_;
  std::optional<Channel> channel_;  // nullopt after a failure; the next call opens a new one
  bool lastFailed_ = false;
  Pause pause_;  // after two failures in a row
};

}  // namespace device_registry
