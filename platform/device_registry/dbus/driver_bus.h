// SPDX-License-Identifier: MIT
// The driver service as seen on the session bus: who owns its name, which services it publishes,
// and what it says about them.
//
// Announcements arrive on a connection of their own and are turned into publications, terminations
// and messages of the registry in the order of their coming. Only what the tracked owner of the
// driver name sends counts.
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

  // Connects and lists the services that are there. A driver that takes longer than the limit for
  // one call is listed whenever it answers. Failure: the bus cannot be reached.
  IOReturn connect();

  // Takes in what has come by now. Without a bus any more all services are gone.
  void receive();

  // Reads as ready when there is something to receive; negative when there is no bus any more.
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
  BusSlot listing_;  // the call for the services of the present owner
  std::string owner_;
  std::map<std::string, std::shared_ptr<Service>> services_;  // by object path
  bool settled_ = false;  // the services that are there at first are listed, or there are none
};

}  // namespace device_registry
