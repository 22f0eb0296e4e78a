// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/device_registry/contract_world.h"
#include "platform/device_registry/dbus/testing/dbus_fixture.h"
#include "platform/device_registry/dbus/testing/scripted_driver.h"
#include "tests/support/private_bus.h"

namespace {

using scripted_driver::Driver;

class DbusWorld : public ContractWorld {
 public:
  DbusWorld() {
    driver_.perform([](Driver& driver) { driver.claimName(); });
  }

  int publish(Device device) override {
    scripted_driver::Service service;
    service.className = device.className;
    service.properties = device.properties;
    service.respond = device.respond;
    const int id = ++last_;
    driver_.perform([&](Driver& driver) { driver.publish(nameOf(id), service); });
    return id;
  }
  void terminate(int device) override {
    driver_.perform([&](Driver& driver) { driver.terminate(nameOf(device)); });
  }
  void sendMessage(int device, std::uint32_t type, const Bytes& argument) override {
    driver_.perform([&](Driver& driver) { driver.sendMessage(nameOf(device), type, argument); });
  }
  void changeProperties(int device, CFDictionary properties) override {
    driver_.perform(
        [&](Driver& driver) { driver.service(nameOf(device)).properties = properties; });
  }
  void arrive() override { ASSERT_TRUE(arriveFrom(driver_)); }

 private:
  static std::string nameOf(int device) { return "Device" + std::to_string(device); }

  test_support::PrivateBus bus_;
  scripted_driver::DriverThread driver_{bus_.address()};
  int last_ = 0;
};

}  // namespace

std::unique_ptr<ContractWorld> makeContractWorld() { return std::make_unique<DbusWorld>(); }
