// SPDX-License-Identifier: MIT
// Faults of drivers on a connection, and the time until their caller's call returns.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <set>

#include "platform/device_registry/dbus/testing/dbus_fixture.h"
#include "platform/posix/posix.h"
#include "platform/session_bus/session_bus.h"
#include "protocol/dispatch.h"

namespace {

using scripted_driver::sendPacket;
using testing::AllOf;
using testing::Ge;
using testing::Le;

using DriverFaults = DbusRequestTest;

std::set<int> openDescriptors() {
  std::set<int> numbers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    numbers.insert(std::stoi(entry.path().filename()));
  }
  // The iterator's own descriptor is closed by now.
  std::erase_if(numbers, [](int number) { return fcntl(number, F_GETFD) < 0; });
  return numbers;
}

// The bounds of a call that waits for its full limit.
auto fullLimit() { return AllOf(Ge(kRegistryCallLimitMs - 1), Le(kCallBoundMs)); }

// A driver that closes the connection at each request until `broken_` is false. Two requests have
// failed.
class BrokenDriver : public DbusRequestTest {
 protected:
  void SetUp() override {
    DbusRequestTest::SetUp();
    Service service = sane();
    service.handle = [this](int socket, const Bytes& request) {
      ++requests_;
      const bool answers = !broken_;
      if (answers) sendPacket(socket, request);  // the last access: the test may end with it
      return answers;
    };
    connect(service);
    EXPECT_EQ(send(1), kIOReturnError);
    EXPECT_EQ(send(1), kIOReturnError);
  }

  std::atomic<int> requests_ = 0;
  std::atomic<bool> broken_ = true;
};

TEST_F(DriverFaults, AMissingAnswerTimesOutWithinTheLimit) {
  Service service = sane();
  service.respond = [](auto, const auto&) { return std::nullopt; };
  connect(service);
  IOReturn result = kIOReturnSuccess;
  EXPECT_THAT(millisecondsOf([&] { result = send(1); }), fullLimit());
  EXPECT_EQ(result, kIOReturnTimeout);
}

TEST_F(DriverFaults, SignalsDoNotExtendTheLimit) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction before {};
  sigaction(SIGALRM, &action, &before);
  const itimerval often{{0, 20000}, {0, 20000}};
  Service service = sane();
  service.respond = [](auto, const auto&) { return std::nullopt; };
  connect(service);
  setitimer(ITIMER_REAL, &often, nullptr);
  IOReturn result = kIOReturnSuccess;
  EXPECT_THAT(millisecondsOf([&] { result = send(1); }), fullLimit());
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_EQ(result, kIOReturnTimeout);
}

TEST_F(DriverFaults, ALateAnswerIsNotTheNextCallsAnswer) {
  FileDescriptor late;  // the driver's end of the channel on which it owes an answer
  Service service = sane();
  service.handle = [&](int socket, const Bytes& request) {
    if (request == Bytes{1}) {
      late = FileDescriptor(dup(socket));
    } else {
      sendPacket(socket, request);
    }
    return true;
  };
  connect(service);
  EXPECT_EQ(send(1), kIOReturnTimeout);
  driver_.perform([&](Driver&) { sendPacket(late.get(), Bytes{1}); });
  EXPECT_EQ(send(2), kIOReturnSuccess);
  EXPECT_EQ(output_[0], 2);
}

TEST_F(DriverFaults, ASecondAnswerIsNotTheNextCallsAnswer) {
  Service service = sane();
  service.handle = [](int socket, const Bytes& request) {
    sendPacket(socket, request);
    if (request == Bytes{1}) sendPacket(socket, Bytes{99});
    return true;
  };
  connect(service);
  EXPECT_EQ(send(1), kIOReturnSuccess);
  EXPECT_EQ(output_[0], 1);
  driver_.perform([](Driver&) {});  // waits until both are sent
  EXPECT_EQ(send(2), kIOReturnSuccess);
  EXPECT_EQ(output_[0], 2);
}

TEST_F(DriverFaults, AChannelClosedDuringARequestFailsAtOnceAndTheNextCallOpensAnother) {
  Service service = sane();
  service.handle = [](int socket, const Bytes& request) {
    if (request == Bytes{1}) return false;
    sendPacket(socket, request);
    return true;
  };
  connect(service);
  IOReturn result = kIOReturnSuccess;
  EXPECT_LE(millisecondsOf([&] { result = send(1); }), kAtOnceMs);
  EXPECT_EQ(result, kIOReturnError);
  EXPECT_EQ(send(2), kIOReturnSuccess);
  EXPECT_EQ(output_[0], 2);
}

TEST_F(DriverFaults, AChannelClosedBetweenRequestsIsReopenedWithTheSameType) {
  std::vector<std::uint32_t> types;
  connect();
  driver_.perform([&](Driver& driver) {
    driver.service("Device").open = [&](std::uint32_t type) {
      types.push_back(type);
      return driver.openChannel("Device");
    };
    driver.closeChannels();
  });
  EXPECT_EQ(send(3), kIOReturnSuccess);
  EXPECT_EQ(output_[0], 3);
  EXPECT_THAT(types, testing::ElementsAre(2));
}

TEST_F(BrokenDriver, FailsCallsAtOnceAfterTwoFailuresInARowUntilABreak) {
  broken_ = false;
  EXPECT_LE(millisecondsOf([&] { EXPECT_EQ(send(1), kIOReturnNotOpen); }), kAtOnceMs);
  EXPECT_EQ(requests_, 2);
  takeABreak();
  EXPECT_EQ(send(4), kIOReturnSuccess);
  EXPECT_EQ(output_[0], 4);
}

TEST_F(DriverFaults, AHungDriverDelaysTwoCallsAndAnswersLaterWithoutAnotherOpen) {
  connect();
  std::promise<void> release = hang();
  CFDictionary properties{{"kept", 1}};
  io_connect_t second = 0;
  const auto request = [&] { EXPECT_EQ(send(1), kIOReturnTimeout); };
  EXPECT_THAT(millisecondsOf(request), fullLimit());
  // The second attempt, which waits for a new channel.
  EXPECT_THAT(millisecondsOf(request), fullLimit());
  EXPECT_LE(millisecondsOf([&] {
              for (int i = 0; i < 100; ++i) {
                EXPECT_NE(send(1), kIOReturnSuccess);
                EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.service(), &properties),
                          kIOReturnTimeout);
                EXPECT_EQ(IOServiceOpen(client_.service(), kDispatchConnectionType, &second),
                          kIOReturnTimeout);
              }
            }),
            kAtOnceMs);
  EXPECT_EQ(properties, (CFDictionary{{"kept", 1}}));
  release.set_value();
  takeABreak();
  EXPECT_EQ(send(5), kIOReturnSuccess);
  EXPECT_EQ(output_[0], 5);
  EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.service(), &properties), kIOReturnSuccess);
}

TEST_F(BrokenDriver, IsAskedAgainAfterThePauseEvenWithoutABreak) {
  broken_ = false;
  const session_bus::Deadline patience(kArrivalLimitMs);
  IOReturn result = send(1);
  while (result == kIOReturnNotOpen && !patience.hasPassed()) result = send(1);
  EXPECT_EQ(result, kIOReturnSuccess);
}

TEST_F(DriverFaults, PropertiesOfAHungDriverFailWithinTheLimitThenAtOnce) {
  startAll();
  std::promise<void> release = hang();
  CFDictionary properties;
  const auto read = [&] {
    EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.service(), &properties), kIOReturnTimeout);
  };
  EXPECT_THAT(millisecondsOf(read), fullLimit());
  EXPECT_LE(millisecondsOf(read), kAtOnceMs);
  release.set_value();
}

TEST_F(DriverFaults, AnUnansweredOpenTimesOutAndItsLateChannelIsClosed) {
  startAll();
  std::promise<void> release = hang();
  io_connect_t connection = 1;
  IOReturn result = kIOReturnSuccess;
  EXPECT_THAT(millisecondsOf([&] {
                result = IOServiceOpen(client_.service(), kDispatchConnectionType, &connection);
              }),
              fullLimit());
  EXPECT_EQ(result, kIOReturnTimeout);
  EXPECT_EQ(connection, 0u);
  release.set_value();
  // The late one, and the one on which the registry asks whether the driver answers again.
  ASSERT_TRUE(driverReaches([](Driver& driver) { return driver.openChannels() == 2; }));
  takeABreak();
  CFDictionary properties;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.service(), &properties), kIOReturnSuccess);
  EXPECT_TRUE(client_.waitUntil([this] { return client_.come == 2; }));
  EXPECT_TRUE(driverReaches([](Driver& driver) { return driver.openChannels() == 0; }));
}

TEST_F(DriverFaults, ClosingAConnectionLeavesNothingOpenInTheDriver) {
  connect();
  ASSERT_TRUE(driverReaches([](Driver& driver) { return driver.openChannels() == 1; }));
  IOServiceClose(connection_);
  EXPECT_TRUE(driverReaches([](Driver& driver) { return driver.openChannels() == 0; }));
}

TEST_F(DriverFaults, ARequestTooLargeForTheChannelFails) {
  connect();
  const Bytes large(8 << 20);
  IOReturn result = kIOReturnSuccess;
  EXPECT_LE(millisecondsOf([&] {
              result = IOConnectMethodStructureIStructureO(connection_, 0, large, output_, &size_);
            }),
            kCallBoundMs);
  EXPECT_NE(result, kIOReturnSuccess);
}

// Open returns something that is no channel.
class OpenReturns : public DbusTest {
 protected:
  void expectRefused(std::function<int(std::uint32_t)> open) {
    Service service = sane();
    service.open = std::move(open);
    startAll(service);
    io_connect_t connection = 1;
    EXPECT_EQ(IOServiceOpen(client_.service(), kDispatchConnectionType, &connection),
              kIOReturnError);
    EXPECT_EQ(connection, 0u);
  }
};

TEST_F(OpenReturns, AnErrorAndFails) {
  expectRefused([](auto) { return -1; });
}

TEST_F(OpenReturns, AFileAndFails) {
  expectRefused([](auto) { return open("/dev/null", O_RDWR | O_CLOEXEC); });
}

TEST_F(OpenReturns, AStreamSocketAndFails) {
  expectRefused([](auto) { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); });
}

TEST_F(OpenReturns, AnUnconnectedSocketAndRequestsFail) {
  Service service = sane();
  service.open = [](auto) { return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0); };
  startAll(service);
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(client_.service(), kDispatchConnectionType, &connection),
            kIOReturnSuccess);
  std::size_t size = 0;
  EXPECT_LE(millisecondsOf([&] {
              EXPECT_NE(IOConnectMethodStructureIStructureO(connection, 0, {}, {}, &size),
                        kIOReturnSuccess);
            }),
            kCallBoundMs);
  IOServiceClose(connection);
}

TEST(DriverDescriptors, AreClosedOnExec) {
  const std::set<int> before = openDescriptors();
  test_support::PrivateBus bus;
  scripted_driver::DriverThread driver(bus.address());
  driver.perform([](scripted_driver::Driver& d) {
    scripted_driver::Service service;
    service.className = kTestClass;
    d.publish("Device", service);
    d.claimName();
  });
  DbusClient client;
  ASSERT_EQ(client.open(), kIOReturnSuccess);
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(client.service(), kDispatchConnectionType, &connection),
            kIOReturnSuccess);
  int checked = 0;
  for (const int number : openDescriptors()) {
    if (before.contains(number)) continue;
    ++checked;
    EXPECT_TRUE(fcntl(number, F_GETFD) & FD_CLOEXEC) << number;
  }
  EXPECT_GE(checked, 5);
  IOServiceClose(connection);
}

// The bus disconnects clients that exceed its limits, here the registry's connection for calls.
class BusDropsTheCalls : public DbusTest {
 protected:
  void start() {
    startDriver();
    known_ = openDescriptors();
    ASSERT_EQ(client_.open(), kIOReturnSuccess);
    ASSERT_EQ(client_.come, 1);
    const auto opened = newStreams();
    ASSERT_EQ(opened.size(), 2u);
    known_.insert(opened.front());  // the connection for announcements is opened first
  }

  void drop() {
    const auto opened = newStreams();
    ASSERT_EQ(opened.size(), 1u);
    ASSERT_EQ(shutdown(opened.front(), SHUT_RDWR), 0);
  }

  IOReturn read() {
    CFDictionary properties;
    return IORegistryEntryCreateCFProperties(client_.service(), &properties);
  }

 private:
  std::vector<int> newStreams() const {
    std::vector<int> streams;
    for (const int number : openDescriptors()) {
      int type = 0;
      socklen_t size = sizeof type;
      if (!known_.contains(number) && getsockopt(number, SOL_SOCKET, SO_TYPE, &type, &size) == 0 &&
          type == SOCK_STREAM) {
        streams.push_back(number);
      }
    }
    return streams;
  }

  std::set<int> known_;
};

TEST_F(BusDropsTheCalls, AndTheNextCallReconnects) {
  start();
  drop();
  EXPECT_EQ(read(), kIOReturnSuccess);
  io_connect_t connection = 0;
  EXPECT_EQ(IOServiceOpen(client_.service(), kDispatchConnectionType, &connection),
            kIOReturnSuccess);
  IOServiceClose(connection);
  EXPECT_EQ(client_.gone, 0);
}

TEST_F(BusDropsTheCalls, TwiceAndTheSecondTimeCallsFailUntilABreak) {
  start();
  drop();
  ASSERT_EQ(read(), kIOReturnSuccess);
  drop();
  EXPECT_LE(millisecondsOf([this] {
              for (int i = 0; i < 100; ++i) EXPECT_EQ(read(), kIOReturnNotOpen);
            }),
            kAtOnceMs);
  takeABreak();
  EXPECT_EQ(read(), kIOReturnSuccess);
}

// A service that terminates during a call.
using DriverVanishes = DbusTest;

TEST_F(DriverVanishes, WhileItsServiceIsBeingOpened) {
  startAll();
  driver_.perform([](Driver& driver) {
    driver.service("Device").open = [&driver](auto) {
      driver.terminate("Device");
      return -1;
    };
  });
  io_connect_t connection = 1;
  IOReturn result = kIOReturnSuccess;
  EXPECT_LE(millisecondsOf([&] {
              result = IOServiceOpen(client_.service(), kDispatchConnectionType, &connection);
            }),
            kCallBoundMs);
  EXPECT_NE(result, kIOReturnSuccess);
  EXPECT_EQ(connection, 0u);
  EXPECT_TRUE(client_.waitUntil([this] { return client_.gone == 1; }));
}

TEST_F(DriverVanishes, WhileItsPropertiesAreBeingRead) {
  startAll();
  driver_.perform([](Driver& driver) {
    driver.service("Device").read = [&driver](sd_bus_message*) {
      driver.terminate("Device");
      return -1;
    };
  });
  CFDictionary properties;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.service(), &properties), kIOReturnError);
  EXPECT_TRUE(client_.waitUntil([this] { return client_.gone == 1; }));
  EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.service(), &properties), kIOReturnNoDevice);
}

// A driver in another process, which is killed.
class DriverDies : public testing::Test {
 protected:
  void start(scripted_driver::Service service) {
    service.className = kTestClass;
    process_.emplace(bus_.address(), [service](scripted_driver::Driver& driver) {
      driver.publish("Device", service);
    });
    ASSERT_EQ(client_.open(), kIOReturnSuccess);
    ASSERT_EQ(client_.come, 1);
  }
  // `call` fails within its limit, and the service terminates.
  void expectFailure(const std::function<IOReturn()>& call) {
    IOReturn result = kIOReturnSuccess;
    EXPECT_LE(millisecondsOf([&] { result = call(); }), kCallBoundMs);
    EXPECT_NE(result, kIOReturnSuccess);
    EXPECT_TRUE(client_.waitUntil([this] { return client_.gone == 1; }));
  }
  IOReturn open(io_connect_t* connection) {
    return IOServiceOpen(client_.service(), kDispatchConnectionType, connection);
  }

  test_support::PrivateBus bus_;
  std::optional<scripted_driver::DriverProcess> process_;
  DbusClient client_;
};

TEST_F(DriverDies, DuringARequest) {
  scripted_driver::Service service;
  service.respond = [](auto, const auto& request) {
    raise(SIGKILL);
    return request;
  };
  start(service);
  io_connect_t connection = 0;
  ASSERT_EQ(open(&connection), kIOReturnSuccess);
  std::array<std::uint8_t, 4> record{};
  std::size_t size = 0;
  const auto send = [&] {
    return IOConnectMethodStructureIStructureO(connection, 0, record, record, &size);
  };
  expectFailure(send);
  EXPECT_EQ(send(), kIOReturnNoDevice);
  IOServiceClose(connection);
}

TEST_F(DriverDies, BeforeItsServiceIsOpened) {
  start({});
  process_->kill();
  io_connect_t connection = 1;
  expectFailure([&] { return open(&connection); });
  EXPECT_EQ(connection, 0u);
}

TEST_F(DriverDies, WhileItsServiceIsBeingOpened) {
  scripted_driver::Service service;
  service.open = [](auto) { return raise(SIGKILL); };
  start(service);
  io_connect_t connection = 1;
  expectFailure([&] { return open(&connection); });
  EXPECT_EQ(connection, 0u);
}

TEST_F(DriverDies, WhileItsPropertiesAreBeingRead) {
  scripted_driver::Service service;
  service.read = [](auto) { return raise(SIGKILL); };
  start(service);
  CFDictionary properties;
  expectFailure([&] { return IORegistryEntryCreateCFProperties(client_.service(), &properties); });
}

TEST_F(DriverDies, BetweenTwoRequests) {
  start({});
  io_connect_t connection = 0;
  ASSERT_EQ(open(&connection), kIOReturnSuccess);
  process_->kill();
  std::array<std::uint8_t, 4> record{};
  std::size_t size = 0;
  expectFailure(
      [&] { return IOConnectMethodStructureIStructureO(connection, 0, record, record, &size); });
  IOServiceClose(connection);
}

}  // namespace
