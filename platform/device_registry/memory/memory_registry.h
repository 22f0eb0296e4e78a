// SPDX-License-Identifier: MIT
// Controls of the in-memory device registry, for tests: publish and terminate scripted devices,
// send messages as their drivers, make operations fail, and see what clients still hold.
//
// One thread. As with every back end, callbacks run only from the notification port's run loop
// source.
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

// The driver's answer to one request; nullopt is no answer, the call fails with kIOReturnTimeout.
using Answer = std::optional<std::vector<std::uint8_t>>;

struct Device {
  std::string className;
  CFDictionary properties = {};
  // Called for every request that reaches the driver. When empty, the request is the answer.
  std::function<Answer(std::uint32_t selector, std::span<const std::uint8_t> request)> respond = {};
  // The result of IOServiceOpen.
  IOReturn openResult = kIOReturnSuccess;
};

// Identifies a published device to the functions below; not a service handle.
using DeviceId = std::uint32_t;

DeviceId publish(Device device);
void terminate(DeviceId device);
// Sends a message as the driver of `device`.
void sendMessage(DeviceId device, natural_t messageType, std::vector<std::uint8_t> argument);
// The published device, whose properties and script can be changed.
Device& device(DeviceId device);

using device_registry::Operation;

// Makes the next `count` calls of `operation` fail: with `result`, or with null where the operation
// returns a pointer.
void failNext(Operation operation, IOReturn result = kIOReturnError, int count = 1);

// What clients still hold: references to services, iterators and notifications, open connections,
// notification ports, master ports. All zero after a program has released everything.
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

// Empties the registry. Earlier handles are unknown afterwards.
void reset();

}  // namespace memory_registry
