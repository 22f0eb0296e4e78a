// SPDX-License-Identifier: MIT
// A registry client and a scripted driver on a private bus, for tests of the real transport.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/device_registry/dbus/testing/scripted_driver.h"
#include "platform/device_registry/device_registry.h"
#include "platform/run_loop/run_loop.h"
#include "tests/support/private_bus.h"

inline constexpr const char* kTestClass = "TestInterface";

// Limit of a test's waits.
inline constexpr int kArrivalLimitMs = 5000;

// The upper bound of a call with the limit kRegistryCallLimitMs: finds calls that hang, with a
// margin for a busy machine.
inline constexpr int kCallBoundMs = kRegistryCallLimitMs + 150;
// The upper bound of a call that has to fail at once.
inline constexpr int kAtOnceMs = 100;

// Performs `source` whenever it is ready until `done`; false after kArrivalLimitMs.
bool performUntil(CFRunLoopSource& source, const std::function<bool()>& done);

// Waits until the registry has received everything that `driver`, the owner of the name, has sent
// so far; false after kArrivalLimitMs. Performs no callbacks but its own.
bool arriveFrom(scripted_driver::DriverThread& driver);

// The duration of `action` in milliseconds.
int millisecondsOf(const std::function<void()>& action);

// Waits until a Pause after failed calls has ended.
void takeABreak();

// A client that counts publications and terminations and keeps the services.
class DbusClient {
 public:
  DbusClient() = default;
  ~DbusClient() { close(); }

  IOReturn open();
  void close();

  // The first service; 0 when there is none.
  io_service_t service() const { return services.empty() ? 0 : services.front(); }
  CFRunLoopSource& source() { return *IONotificationPortGetRunLoopSource(port_); }
  bool isReady();
  bool waitUntil(const std::function<bool()>& done) { return performUntil(source(), done); }
  IOReturn addInterest(io_service_t service);

  std::function<void(io_service_t)> takeIn;  // called for each service that came
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

  // A service of the test class without scripts.
  static Service sane() {
    Service service;
    service.className = kTestClass;
    return service;
  }

  void startDriver(Service service = sane());
  // Starts the driver, then opens the client, which finds the service.
  void startAll(Service service = sane());

  // Makes the driver hang until the returned promise is set.
  std::promise<void> hang();
  // Calls `done` on the driver's thread until it is true; false after kArrivalLimitMs.
  bool driverReaches(const std::function<bool(Driver&)>& done);

  test_support::PrivateBus bus_;
  scripted_driver::DriverThread driver_{bus_.address()};
  DbusClient client_;
};

// A connection to the service that sends requests of one byte.
class DbusRequestTest : public DbusTest {
 protected:
  ~DbusRequestTest() override { IOServiceClose(connection_); }

  void connect(Service service = sane());
  IOReturn send(std::uint8_t request);

  io_connect_t connection_ = 0;
  std::array<std::uint8_t, 4> output_{};
  std::size_t size_ = 0;
};
