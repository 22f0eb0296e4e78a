// SPDX-License-Identifier: MIT
// The device registry on the session bus.
#include <memory>

#include "platform/device_registry/core/registry.h"
#include "platform/device_registry/dbus/driver_bus.h"

namespace {

using device_registry::DriverBus;
using device_registry::Registry;

struct State {
  Registry registry{[this] {
    if (bus) bus->receive();
  }};
  std::unique_ptr<DriverBus> bus;  // null unless a master port is held
};

State& state() {
  static State theState;
  return theState;
}

}  // namespace

Registry& device_registry::registry() { return state().registry; }

using device_registry::registry;

IOReturn IOMasterPort(mach_port_t* port) {
  *port = 0;
  if (!registry().isOpen()) {
    auto bus = std::make_unique<DriverBus>(registry());
    const IOReturn result = bus->connect();
    if (result != kIOReturnSuccess) {
      registry().forgetServices();
      return result;
    }
    state().bus = std::move(bus);
  }
  *port = registry().addMasterPort();
  return kIOReturnSuccess;
}

void mach_port_deallocate(mach_port_t port) {
  registry().removeMasterPort(port);
  if (registry().isOpen()) return;
  registry().forgetServices();
  state().bus.reset();
}

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort) {
  return registry().createPort(masterPort, state().bus ? state().bus->descriptor() : -1);
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port) {
  return registry().runLoopSource(port);
}

IOReturn IOServiceAddMatchingNotification(IONotificationPortRef port, const char* kind,
                                          const CFDictionary& matching,
                                          IOServiceMatchingCallback callback, void* refcon,
                                          io_iterator_t* iterator) {
  return registry().addMatchingNotification(port, kind, matching, callback, refcon, iterator);
}

IOReturn IOServiceAddInterestNotification(IONotificationPortRef port, io_service_t service,
                                          const char* kind, IOServiceInterestCallback callback,
                                          void* refcon, io_object_t* notification) {
  return registry().addInterestNotification(port, service, kind, callback, refcon, notification);
}

IOReturn IOServiceGetMatchingServices(mach_port_t masterPort, const CFDictionary& matching,
                                      io_iterator_t* iterator) {
  return registry().matchingServices(masterPort, matching, iterator);
}

IOReturn IORegistryEntryCreateCFProperties(io_service_t service, CFDictionary* properties) {
  return registry().readProperties(service, properties);
}

IOReturn IOServiceOpen(io_service_t service, std::uint32_t type, io_connect_t* connection) {
  return registry().open(service, type, connection);
}

IOReturn IOConnectMethodStructureIStructureO(io_connect_t connection, std::uint32_t selector,
                                             std::span<const std::uint8_t> input,
                                             std::span<std::uint8_t> output,
                                             std::size_t* outputSize) {
  return registry().call(connection, selector, input, output, outputSize);
}
