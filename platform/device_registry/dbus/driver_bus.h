// SPDX-License-Identifier: MIT
// The driver service on the session bus: the owner of its name, its services and their messages.
//
// Announcements arrive on a connection of their own, in order, and become publications,
// terminations and messages of the registry. Announcements of any sender but the owner of the
// driver name are ignored.
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

  // Connects and publishes the present services. The services of a driver that takes longer than
  // kRegistryCallLimitMs are published when it answers. Failure: the bus cannot be reached.
  IOReturn connect();

  // Handles the announcements received by now. Terminates all services when the bus is lost.
  void receive();

  // Reads as ready when there is something to receive; negative after the bus was lost.
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

  // Handlers of the bus library; each gets the DriverBus as its user data.
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
  BusSlot listing_;  // the pending call that lists the owner's services
  std::string owner_;
  std::map<std::string, std::shared_ptr<Service>> services_;  // by object path
  bool settled_ = false;  // the services present at first are listed, or there is no driver
};

}  // namespace device_registry
