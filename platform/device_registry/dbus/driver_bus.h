// SPDX-License-Identifier: MIT
// Follows the driver service on the session bus: the owner of its name, the services that it
// publishes, and its messages.
//
// The driver's signals arrive on a bus connection of their own. They become publications,
// terminations and messages of the registry in the order of their arrival. Signals that the present
// owner of the driver's name did not send are ignored. Thread: that of the registry's operations.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/device_registry/core/registry.h"
#include "platform/device_registry/dbus/driver_calls.h"

namespace device_registry {

class DriverBus {
 public:
  explicit DriverBus(Registry& registry) : registry_(registry) {}

  // Connects to the bus and lists the present services, within kRegistryCallLimitMs. If the driver
  // answers later, receive() lists its services then. Fails when the bus cannot be reached in time.
  IOReturn connect();

  // Processes the messages that have arrived. If the bus connection is lost, terminates all
  // services.
  void receive();

  // Reads as ready when messages have arrived; negative after the bus connection was lost.
  int descriptor() const;

 private:
  bool isReady() const;
  bool addMatches();
  void lose();

  void setOwner(const std::string& owner);
  void startDriver();
  void listServices();
  bool isFromOwner(sd_bus_message* message) const;
  void addService(const std::string& path, const std::optional<std::string>& className);
  void removeService(const std::string& path);

  // Handlers for sd-bus; `self` is the DriverBus.
  static int ownerKnown(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;
  static int driverStarted(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;
  static int ownerChanged(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;
  static int servicesListed(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;
  static int interfacesAdded(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;
  static int interfacesRemoved(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;
  static int messageSent(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;

  Registry& registry_;
  DriverCalls calls_;
  Bus bus_;
  BusSlot listing_;  // the pending GetManagedObjects call to the present owner
  std::string owner_;
  std::map<std::string, std::shared_ptr<Service>> services_;  // by object path
  bool settled_ = false;  // the first list of services has arrived, or there is no driver
};

}  // namespace device_registry
