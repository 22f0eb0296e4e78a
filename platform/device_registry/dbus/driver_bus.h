// SPDX-License-Identifier: MIT
// The driver service on the session bus: the owner of its name, its services and their messages.
//
// Announcements arrive on a connection of their own, in order, and become publications,
// terminations and messages of the registry. Announcements of any sender but the owner of the
// driver name are ignored. A bus that is lost, or missing at first, is followed when it appears.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/device_registry/core/registry.h"
#include "platform/device_registry/dbus/driver_calls.h"
#include "platform/device_registry/dbus/driver_probe.h"
#include "platform/device_registry/dbus/driver_service.h"
#include "platform/posix/posix.h"

namespace device_registry {

class DriverBus {
 public:
  explicit DriverBus(Registry& registry) : registry_(registry) {}

  // Connects and publishes the present services. The services of a driver that takes longer than
  // kRegistryCallLimitMs are published when it answers. A bus that cannot be reached is printed for
  // the user and followed; failure: it has no socket that could appear.
  IOReturn connect();

  // Handles the announcements received by now. When the bus is lost, terminates all services; when
  // its socket appears again, connects again, without waiting, and publishes what is there then.
  void receive();
  // As receive(), and repairs what a silence of the driver left wrong, once it answers again.
  void beginTurn();

  // Reads as ready when there is something to receive.
  int descriptor() const { return watcher_.get(); }

 private:
  bool isReady() const;
  bool watch(int descriptor);
  // Return 0 or a negative errno.
  int watchBus();
  int reachBus();
  int startBus();
  int addMatches();
  bool process();
  void lose();
  // Follows the bus's socket; false when it has no path.
  bool awaitBus();
  void followSocket();

  void setOwner(const std::string& owner);
  void startDriver();
  // There is no driver, and none could be started.
  void lackDriver();
  void listServices();
  bool isFromOwner(sd_bus_message* message) const;
  void addService(const std::string& path, const std::optional<std::string>& className);
  void removeService(const std::string& path);

  // Calls of a service that failed and are not repaired yet. The repair publishes the service anew
  // if the client was reading it for the first time, and otherwise sends the client a message that
  // the state changed.
  struct Silence {
    bool inArrival = false;
    bool timedOut = false;   // the driver did not answer, or not in the right form
    bool isLimited = false;  // the repair counts as one of kRepairLimit
    bool answersAgain = false;
    bool needsProbe = false;
    std::unique_ptr<DriverProbe> probe;  // finds out whether the driver answers again
  };
  // The recent repairs of a service. A driver that answers the probe and fails all other requests
  // must not keep the client busy.
  struct Repairs {
    int count = 0;
    std::chrono::steady_clock::time_point last{};
  };
  void noteEvent(const std::string& path, DriverService::Event event);
  void startProbes();
  void readProbes();
  bool mayRepair(const std::string& path);
  void allowRepair(const std::string& path);
  std::shared_ptr<DriverService> endSilence(const std::string& path);

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
  FileDescriptor watcher_;             // watches the bus, its socket's path and the probes
  std::optional<SocketWatch> socket_;  // while there is no bus
  // By object path.
  std::map<std::string, std::shared_ptr<DriverService>> services_;
  std::map<std::string, Silence> silences_;
  std::map<std::string, Repairs> repairs_;
  bool settled_ = false;  // the services present at first are listed, or there is no driver
};

}  // namespace device_registry
