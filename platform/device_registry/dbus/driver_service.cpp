// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/driver_service.h"

#include <utility>

namespace device_registry {

IOReturn DriverService::readProperties(CFDictionary* properties) {
  return calls_.readProperties(path_, properties);
}

IOReturn DriverService::open(std::uint32_t type, std::shared_ptr<Connection>* connection) {
  std::optional<Channel> channel;
  const IOReturn result = calls_.open(path_, type, Deadline(kRegistryCallLimitMs), &channel);
  if (result != kIOReturnSuccess) return result;
  *connection =
      std::make_shared<DriverConnection>(numbers_, path_, type, calls_, std::move(channel));
  return kIOReturnSuccess;
}

IOReturn DriverConnection::call(std::uint32_t selector, std::span<const std::uint8_t> input,
                                std::span<std::uint8_t> output, std::size_t* outputSize) {
  if (pause_.isRunning()) return kIOReturnNotOpen;
  const IOReturn result = exchange(selector, input, output, outputSize);
  const bool failed = result != kIOReturnSuccess && result != kIOReturnOverrun;
  if (failed) {
    channel_.reset();
    if (lastFailed_) pause_.start();
  }
  lastFailed_ = failed;
  return result;
}

IOReturn DriverConnection::exchange(std::uint32_t selector, std::span<const std::uint8_t> input,
                                    std::span<std::uint8_t> output, std::size_t* outputSize) {
  const Deadline deadline(kRegistryCallLimitMs);
  if (channel_ && !channel_->isQuiet()) channel_.reset();
  if (!channel_) {
    if (const IOReturn result = calls_.open(path_, type_, deadline, &channel_)) return result;
  }
  return channel_->exchange(selector, input, output, outputSize, deadline);
}

}  // namespace device_registry
