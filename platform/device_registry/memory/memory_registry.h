// SPDX-License-Identifier: MIT
// What tests do to the in-memory device registry: publish scripted devices, take them away, let
// their drivers send messages, make operations fail, and look at what was left behind.
//
// One thread. Notifications are performed by the run loop source of the notification port, as with
// every back end; nothing here calls a callback by itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/device_registry/core/registry.h"
#include "platform/device_registry/device_registry.h"

namespace memory_registry {

// The bytes that the driver answers to one request; nothing makes the call fail with
// kIOReturnTimeout, as a driver that does not answer does.
using Answer = std::optional<std::vector<std::uint8_t>>;

struct Device {
  std::string className;
  CFDictionary properties;
  // Called for every request that reaches the driver. Without one, requests come back unchanged.
  std::function<Answer(std::uint32_t selector, std::span<const std::uint8_t> request)> respond;
  // What opening a connection to it gives.
  IOReturn openResult = kIOReturnSuccess;
};

// Names a published device for the functions below; not a service handle.
using DeviceId = std::uint32_t;

DeviceId publish(Device device);
void terminate(DeviceId device);
// The driver of `device` sends a message.
void sendMessage(DeviceId device, natural_t messageType, std::vector<std::uint8_t> argument);
// The published device, to change its properties or script while it is there.
Device& device(DeviceId device);

using device_registry::Operation;
// Lets the next `count` calls of `operation` fail: with `result` where the operation has a result,
// with null otherwise.
void failNext(Operation operation, IOReturn result = kIOReturnError, int count = 1);

// What has not been given back: references to services, iterators and notifications, open
// connections, notification ports, master ports. All zero when a program cleans up after itself.
struct Outstanding {
  std::size_t objects = 0;
  std::size_t connections = 0;
  std::size_t notificationPorts = 0;
  std::size_t masterPorts = 0;
  bool operator==(const Outstanding&) const = default;
};
Outstanding outstanding();

// Every request that reached a driver, in order.
struct Request {
  DeviceId device;
  std::uint32_t connectionType;
  std::uint32_t selector;
  std::vector<std::uint8_t> bytes;
};
const std::vector<Request>& requests();

// Back to an empty registry. Handles of before name nothing afterwards.
void reset();

}  // namespace memory_registry
