// SPDX-License-Identifier: MIT
// The tests' side of the in-memory device registry: publish and terminate scripted devices, send
// messages as their driver, make operations fail, and count the handles that were not released.
//
// Thread: that of the registry's operations. As with every back end, callbacks run only from the
// run loop source of the notification port.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/device_registry/device_registry.h"

namespace memory_registry {

// The driver's answer to one request. nullopt sends none: the call fails with kIOReturnTimeout.
using Answer = std::optional<std::vector<std::uint8_t>>;

struct Device {
  std::string className;
  CFDictionary properties;
  // Called for each request. If empty, a request is answered with itself.
  std::function<Answer(std::uint32_t selector, std::span<const std::uint8_t> request)> respond;
  // The result of IOServiceOpen.
  IOReturn openResult = kIOReturnSuccess;
};

// Identifies a published device for the functions below; not a service handle.
using DeviceId = std::uint32_t;

DeviceId publish(Device device);
void terminate(DeviceId device);
// Sends a message as the driver of `device`.
void sendMessage(DeviceId device, natural_t messageType, std::vector<std::uint8_t> argument);
// The published device, whose properties or script the test may change.
Device& device(DeviceId device);

enum class Operation {
  kMasterPort,
  kNotificationPortCreate,
  kGetRunLoopSource,
  kAddPublishNotification,
  kAddTerminateNotification,
  kAddInterestNotification,
  kGetMatchingServices,
  kCreateProperties,
  kServiceOpen,
  kConnectMethod,
};
// Makes the next `count` calls of `operation` fail: with `result`, or with null for an operation
// that returns a pointer.
void failNext(Operation operation, IOReturn result = kIOReturnError, int count = 1);

// Handles that have not been released: references to services, iterators and notifications; open
// driver connections; notification ports; master ports. All 0 after a clean end.
struct Outstanding {
  std::size_t objects = 0;
  std::size_t connections = 0;
  std::size_t notificationPorts = 0;
  std::size_t masterPorts = 0;
  bool operator==(const Outstanding&) const = default;
};
Outstanding outstanding();

// The requests that the drivers received, in order.
struct Request {
  DeviceId device;
  std::uint32_t connectionType;
  std::uint32_t selector;
  std::vector<std::uint8_t> bytes;
};
const std::vector<Request>& requests();

// Empties the registry. Handles from before are invalid afterwards.
void reset();

}  // namespace memory_registry
