// SPDX-License-Identifier: MIT
// A registry client and a scripted driver on a bus of their own, for tests of the D-Bus transport.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/device_registry/dbus/testing/arrival.h"
#include "platform/device_registry/dbus/testing/scripted_driver.h"
#include "platform/device_registry/device_registry.h"
#include "tests/support/private_bus.h"

inline constexpr const char* kTestClass = "TestInterface";

// The longest time that a call limited to kRegistryCallLimitMs may take in a test: the limit plus
// time for a busy machine.
inline constexpr int kCallBoundMs = kRegistryCallLimitMs + 150;
// The longest time that a call that fails at once may take in a test.
inline constexpr int kAtOnceMs = 100;

// The duration of `action` in milliseconds.
int millisecondsOf(const std::function<void()>& action);

// Waits for kRegistryBreakMs, which ends every Pause.
void takeABreak();

// A client that counts published and terminated services and keeps references to them.
class DbusClient {
 public:
  DbusClient() = default;
  ~DbusClient() { close(); }

  IOReturn open();
  void close();

  // The first service; 0 if there is none.
  io_service_t service() const { return services.empty() ? 0 : services.front(); }
  CFRunLoopSource& source() { return *IONotificationPortGetRunLoopSource(port_); }
  bool isReady();
  bool waitUntil(const std::function<bool()>& done) { return performUntil(source(), done); }
  IOReturn addInterest(io_service_t service);

  int come = 0;
  int gone = 0;
  std::vector<io_service_t> services;
  std::vector<std::pair<natural_t, std::vector<std::uint8_t>>> messages;

 private:
  static void published(void* self, io_iterator_t iterator);
  static void terminated(void* self, io_iterator_t iterator);
  static void told(void* self, io_service_t service, natural_t type,
                   std::span<const std::uint8_t> argument);

  mach_port_t master_ = 0;
  IONotificationPortRef port_ = nullptr;
  std::vector<io_object_t> objects_;
};

class DbusTest : public testing::Test {
 protected:
  using Bytes = scripted_driver::Bytes;
  using Driver = scripted_driver::Driver;
  using Service = scripted_driver::Service;

  // A service of the test class; the caller scripts the rest.
  static Service sane() {
    Service service;
    service.className = kTestClass;
    return service;
  }

  void startDriver(Service service = sane());
  // startDriver(), then opens the client, which finds the service.
  void startAll(Service service = sane());

  // Makes the driver hang until the returned promise is set.
  std::promise<void> hang();
  // Evaluates `done` on the driver's thread until it is true; false after kArrivalLimitMs.
  bool driverReaches(const std::function<bool(Driver&)>& done);

  test_support::PrivateBus bus_;
  scripted_driver::DriverThread driver_{bus_.address()};
  DbusClient client_;
};

// One driver connection to the service, and one-byte requests on it.
class DbusRequestTest : public DbusTest {
 protected:
  ~DbusRequestTest() override { IOServiceClose(connection_); }

  void connect(Service service = sane());
  IOReturn send(std::uint8_t request);

  io_connect_t connection_ = 0;
  std::array<std::uint8_t, 4> output_{};
  std::size_t size_ = 0;
};
