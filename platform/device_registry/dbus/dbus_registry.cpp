// SPDX-License-Identifier: MIT
// The device registry on the session bus.
#include <memory>

#include "platform/device_registry/core/registry.h"
#include "platform/device_registry/dbus/driver_bus.h"
#include "platform/driver_waits/driver_waits.h"

namespace device_registry {

namespace {

class DbusRegistry : public Registry {
  IOReturn connect() override {
    driverWaits().renew();
    bus_ = std::make_unique<DriverBus>(*this);
    return bus_->connect();
  }
  void disconnect() override { bus_.reset(); }
  void receive() override {
    if (bus_) bus_->receive();
  }
  void beginTurn() override {
    ++turn;
    if (bus_) bus_->beginTurn();
  }
  int incoming() const override { return bus_ ? bus_->descriptor() : -1; }

  std::unique_ptr<DriverBus> bus_;  // while a master port is held
};

}  // namespace

Registry& registry() {
  static DbusRegistry theRegistry;
  return theRegistry;
}

}  // namespace device_registry
