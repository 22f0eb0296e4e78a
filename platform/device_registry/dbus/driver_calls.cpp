// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/driver_calls.h"

#include <array>
#include <cerrno>
#include <utility>

#include "protocol/services.h"

namespace device_registry {

namespace {

constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";

int keepReply(sd_bus_message* message, void* reply, sd_bus_error*) noexcept {
  static_cast<BusMessage*>(reply)->reset(sd_bus_message_ref(message));
  return 0;
}

// Processes late replies and the connection's end first.
bool isOpen(sd_bus* bus) {
  constexpr int kLimit = 1000;  // against a peer that never stops sending
  int processed = 1;
  for (int i = 0; i < kLimit && processed > 0; ++i) processed = sd_bus_process(bus, nullptr);
  return processed >= 0 && sd_bus_is_open(bus) > 0;
}

}  // namespace

bool DriverCalls::connect() {
  reconnected_ = Pause();
  return session_bus::startSessionBus(&bus_) >= 0;
}

IOReturn DriverCalls::makeSureOfBus(const Deadline& deadline) {
  if (isOpen(bus_.get())) return kIOReturnSuccess;
  if (reconnected_.isRunning()) return kIOReturnNotOpen;
  reconnected_.start();
  const int result = session_bus::openSessionBus(deadline.milliseconds(), &bus_);
  if (result >= 0) return kIOReturnSuccess;
  return result == -ETIMEDOUT ? kIOReturnTimeout : kIOReturnError;
}

void DriverCalls::setOwner(std::string owner) {
  owner_ = std::move(owner);
  silence_ = Pause();
}

BusMessage DriverCalls::newCall(const std::string& path, const char* interface,
                                const char* member) const {
  sd_bus_message* message = nullptr;
  sd_bus_message_new_method_call(bus_.get(), &message, owner_.c_str(), path.c_str(), interface,
                                 member);
  return BusMessage(message);
}

IOReturn DriverCalls::call(sd_bus_message* request, const Deadline& deadline, BusMessage* reply) {
  if (silence_.isRunning()) return kIOReturnTimeout;
  BusMessage received;
  sd_bus_slot* pending = nullptr;
  if (sd_bus_call_async(bus_.get(), &pending, request, keepReply, &received, UINT64_MAX) < 0) {
    return kIOReturnError;
  }
  const BusSlot slot(pending);  // cancels the call: a late reply is dropped
  while (!received) {
    const int processed = sd_bus_process(bus_.get(), nullptr);
    if (processed < 0) return kIOReturnError;
    if (received) break;
    if (deadline.hasPassed()) {
      silence_.start();
      return kIOReturnTimeout;
    }
    if (processed == 0) session_bus::waitForBuses(std::array{bus_.get()}, deadline);
  }
  if (sd_bus_message_is_method_error(received.get(), nullptr)) return kIOReturnError;
  *reply = std::move(received);
  return kIOReturnSuccess;
}

IOReturn DriverCalls::readProperties(const std::string& path, const Deadline& deadline,
                                     CFDictionary* properties) {
  if (const IOReturn result = makeSureOfBus(deadline)) return result;
  const BusMessage request = newCall(path, kPropertiesInterface, "Get");
  if (sd_bus_message_append(request.get(), "ss", kServiceInterface, kRegistryProperties) < 0) {
    return kIOReturnError;
  }
  BusMessage reply;
  if (const IOReturn result = call(request.get(), deadline, &reply)) return result;
  if (sd_bus_message_enter_container(reply.get(), SD_BUS_TYPE_VARIANT, "a{sv}") <= 0) {
    return kIOReturnError;
  }
  auto values = readDictionary(reply.get());
  if (!values) return kIOReturnError;
  *properties = std::move(*values);
  return kIOReturnSuccess;
}

IOReturn DriverCalls::open(const std::string& path, std::uint32_t type, const Deadline& deadline,
                           std::optional<Channel>* channel) {
  if (const IOReturn result = makeSureOfBus(deadline)) return result;
  const BusMessage request = newCall(path, kServiceInterface, kOpenMethod);
  if (sd_bus_message_append(request.get(), "u", type) < 0) return kIOReturnError;
  BusMessage reply;
  if (const IOReturn result = call(request.get(), deadline, &reply)) return result;
  int descriptor = -1;  // the message owns it
  if (sd_bus_message_read(reply.get(), "h", &descriptor) <= 0) return kIOReturnError;
  auto opened = Channel::fromDriver(descriptor);
  if (!opened) return kIOReturnError;
  *channel = std::move(opened);
  return kIOReturnSuccess;
}

}  // namespace device_registry
