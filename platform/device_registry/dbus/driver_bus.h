// SPDX-License-Identifier: MIT
// The driver service on the session bus: the owner of its name, its services and their messages.
//
// Announcements arrive on a connection of their own, in order, and become publications,
// terminations and messages of the registry. Announcements of any sender but the owner of the
// driver name are ignored. A bus that was lost is followed when it comes back.
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
  // kRegistryCallLimitMs are published when it answers. Failure: the bus cannot be reached, which
  // is printed for the user.
  IOReturn connect();

  // Handles the announcements received by now. When the bus is lost, terminates all services; when
  // its socket appears again, connects again, without waiting, and publishes what is there then.
  void receive();
  // As receive(), and makes good what the silence of drivers that answer again left wrong.
  void beginTurn();

  // Reads as ready when there is something to receive.
  int descriptor() const { return watcher_.get(); }

 private:
  bool isReady() const;
  bool watch(int descriptor);
  // Return 0 or a negative errno.
  int reachBus();
  int startBus();
  int addMatches();
  bool process();
  void lose();
  void followSocket();

  void setOwner(const std::string& owner);
  void startDriver();
  void listServices();
  bool isFromOwner(sd_bus_message* message) const;
  void addService(const std::string& path, const std::optional<std::string>& className);
  void removeService(const std::string& path);

  // What a service did not answer, until that is made good: when the driver answers again, the
  // service is published anew if the client was taking it in, and else the client is told that the
  // state changed.
  struct Silence {
    bool inArrival = false;
    bool spared = true;  // nobody waited for the driver
    bool answering = false;
    std::unique_ptr<DriverProbe> probe;
  };
  // How often a service was made good lately. A driver that answers the probe and nothing else must
  // not keep the client busy.
  struct Repairs {
    int count = 0;
    std::chrono::steady_clock::time_point last{};
  };
  void noteFailure(const std::string& path, DriverService::Failure failure);
  void probe(const std::string& path, Silence& silence);
  void lookAtProbes();
  bool mayRepair(const std::string& path);
  void repair(const std::string& path, bool inArrival);

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
  std::optional<SocketWatch> socket_;  // from the loss of the bus until there is one again
  // By object path.
  std::map<std::string, std::shared_ptr<DriverService>> services_;
  std::map<std::string, Silence> silences_;
  std::map<std::string, Repairs> repairs_;
  bool settled_ = false;  // the services present at first are listed, or there is no driver
};

}  // namespace device_registry
