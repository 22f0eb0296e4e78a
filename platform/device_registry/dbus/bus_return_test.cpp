// SPDX-License-Identifier: MIT
// A session bus that ends and comes back while the registry is open.
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string>

#include "platform/device_registry/dbus/testing/dbus_fixture.h"
#include "platform/log/memory/memory_log.h"
#include "platform/posix/posix.h"
#include "protocol/dispatch.h"

namespace {

using scripted_driver::Driver;
using scripted_driver::DriverThread;

// A TCP port whose queue of connections is full, so that a connection is neither made nor refused
// until it is closed.
class SilentPort {
 public:
  SilentPort() : server_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    socklen_t size = sizeof address_;
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(server_.get(), general(), size), 0);
    EXPECT_EQ(getsockname(server_.get(), general(), &size), 0);
    EXPECT_EQ(listen(server_.get(), 0), 0);
    for (FileDescriptor& client : clients_) {
      client = FileDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
      connect(client.get(), general(), size);
    }
  }
  std::string address() const {
    return "tcp:host=127.0.0.1,port=" + std::to_string(ntohs(address_.sin_port));
  }
  void close() { server_.reset(); }

 private:
  sockaddr* general() { return reinterpret_cast<sockaddr*>(&address_); }

  FileDescriptor server_;
  sockaddr_in address_{};
  std::array<FileDescriptor, 4> clients_;
};

class ReturningBus : public DbusTest {
 protected:
  void SetUp() override { startAll(); }

  void loseBus() {
    bus_.stop();
    ASSERT_TRUE(client_.waitUntil([this] { return client_.gone == client_.come; }));
  }
  // Starts a driver with one service on the bus.
  void startDriverAgain() {
    again_.emplace(bus_.address());
    again_->perform([](Driver& driver) {
      driver.publish("Device", sane());
      driver.claimName();
    });
  }
  bool arrives(int count) {
    return client_.waitUntil([&] { return client_.come == count; });
  }

  std::optional<DriverThread> again_;
};

TEST_F(ReturningBus, ADriverOnItIsFound) {
  loseBus();
  bus_.start();
  startDriverAgain();
  ASSERT_TRUE(arrives(2));
  CFDictionary properties;
  io_connect_t connection = 0;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(client_.services.back(), &properties),
            kIOReturnSuccess);
  EXPECT_EQ(IOServiceOpen(client_.services.back(), kDispatchConnectionType, &connection),
            kIOReturnSuccess);
  IOServiceClose(connection);
}

TEST_F(ReturningBus, ADriverThatStartsLaterIsFound) {
  loseBus();
  bus_.start();
  while (client_.isReady()) client_.source().perform();
  startDriverAgain();
  EXPECT_TRUE(arrives(2));
}

TEST_F(ReturningBus, ABusThatCameBackBeforeItsLossWasSeenIsFound) {
  bus_.stop();
  bus_.start();
  startDriverAgain();
  EXPECT_TRUE(arrives(2));
  EXPECT_EQ(client_.gone, 1);
}

TEST_F(ReturningBus, ItIsFoundEachTime) {
  for (int count = 2; count < 12; ++count) {
    loseBus();
    bus_.start();
    startDriverAgain();
    ASSERT_TRUE(arrives(count)) << count;
  }
}

TEST_F(ReturningBus, OneThatAcceptsConnectionsAndDoesNotAnswerIsNotWaitedFor) {
  loseBus();
  bus_.start();
  bus_.hang();
  ASSERT_TRUE(client_.isReady());
  EXPECT_LE(millisecondsOf([this] {
              for (int i = 0; i < 5 && client_.isReady(); ++i) client_.source().perform();
            }),
            kAtOnceMs);
  EXPECT_FALSE(client_.isReady());
}

TEST_F(ReturningBus, OneThatNeverAnsweredIsReplacedByOneThatDoes) {
  loseBus();
  bus_.start();
  bus_.hang();
  while (client_.isReady()) client_.source().perform();
  bus_.stop();
  while (client_.isReady()) client_.source().perform();
  bus_.start();
  startDriverAgain();
  EXPECT_TRUE(arrives(2));
}

TEST_F(ReturningBus, AnAbstractAddressIsNotWatched) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:abstract=/nonexistent/vx310", 1);
  loseBus();
  EXPECT_FALSE(client_.isReady());
}

TEST_F(ReturningBus, ItsLossIsPrintedOnce) {
  memory_log::reset();
  loseBus();
  client_.source().perform();
  EXPECT_EQ(memory_log::takeErrors(),
            "device_registry_dbus_test: the session bus has gone; no interface can be found until "
            "it is back\n");
}

// --- A registry that is opened before there is a bus ---

class LateBus : public testing::Test {
 protected:
  LateBus() { bus_.stop(); }

  void startDriver() {
    driver_.emplace(bus_.address());
    driver_->perform([](Driver& driver) {
      scripted_driver::Service service;
      service.className = kTestClass;
      driver.publish("Device", service);
      driver.claimName();
    });
  }
  bool arrives() {
    return client_.waitUntil([this] { return client_.come == 1; });
  }

  test_support::PrivateBus bus_;
  std::optional<DriverThread> driver_;
  DbusClient client_;
};

TEST_F(LateBus, ItsDriverIsFound) {
  ASSERT_EQ(client_.open(), kIOReturnSuccess);
  bus_.start();
  startDriver();
  EXPECT_TRUE(arrives());
}

TEST_F(LateBus, ItReplacesOneThatNeverAnswered) {
  bus_.start();
  bus_.hang();
  ASSERT_EQ(client_.open(), kIOReturnSuccess);
  while (client_.isReady()) client_.source().perform();
  bus_.stop();
  while (client_.isReady()) client_.source().perform();
  bus_.start();
  startDriver();
  EXPECT_TRUE(arrives());
}

// The first server of the address is silent, so that the bus library still tries it when the
// registry is open, and refuses the connection a second later.
TEST_F(LateBus, TheSecondServerOfItsAddressIsFound) {
  SilentPort first;
  setenv("DBUS_SESSION_BUS_ADDRESS", (first.address() + ";" + bus_.address()).c_str(), 1);
  bus_.start();
  ASSERT_EQ(client_.open(), kIOReturnSuccess);
  first.close();
  startDriver();
  EXPECT_TRUE(arrives());
}

}  // namespace
