// SPDX-License-Identifier: MIT
// A session bus that ends and comes back while the registry is open.
#include <cstdlib>
#include <optional>

#include "platform/device_registry/dbus/testing/dbus_fixture.h"
#include "protocol/dispatch.h"

namespace {

using scripted_driver::DriverThread;

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

}  // namespace
