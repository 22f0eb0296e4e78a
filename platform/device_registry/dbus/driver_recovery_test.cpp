// SPDX-License-Identifier: MIT
// What a driver's silence leaves wrong is made good when it answers again.
#include <poll.h>

#include <atomic>
#include <optional>
#include <string>

#include "platform/device_registry/dbus/testing/dbus_fixture.h"
#include "platform/driver_waits/driver_waits.h"
#include "platform/session_bus/session_bus.h"
#include "protocol/dispatch.h"
#include "protocol/services.h"

namespace {

using testing::Each;
using testing::ElementsAre;

VQ_Command commandOf(const std::vector<std::uint8_t>& request) {
  return static_cast<VQ_Command>(wire::load<std::uint32_t>(request, 0));
}

// A client that takes a service in as the panel does: it reads its properties, opens it and asks
// for the device descriptor.
class DriverRecovery : public DbusTest {
 protected:
  DriverRecovery() {
    client_.takeIn = [this](io_service_t service) { takeIn(service); };
  }
  ~DriverRecovery() override { IOServiceClose(connection_); }

  void takeIn(io_service_t service) {
    CFDictionary properties;
    const bool named = IORegistryEntryCreateCFProperties(service, &properties) == kIOReturnSuccess;
    IOServiceClose(connection_);
    const bool open = IOServiceOpen(service, 2, &connection_) == kIOReturnSuccess;
    taken_.push_back(named && open && ask());
    client_.addInterest(service);
  }

  // Whether the driver answers a request on the last service's connection.
  bool ask() {
    VQ_Dispatch record(VQ_Command::kGetDeviceDescriptor);
    std::size_t size = 0;
    return IOConnectMethodStructureIStructureO(connection_, kDispatchSelector, record.bytes,
                                               record.bytes, &size) == kIOReturnSuccess &&
           size == VQ_Dispatch::kSize;
  }

  // A service that answers `count` requests for the descriptor wrongly, and everything else well.
  Service failing(int count, std::optional<Bytes> answer) {
    left_ = count;
    Service service = sane();
    service.respond = [this, answer](std::uint32_t, const Bytes& request) -> std::optional<Bytes> {
      const bool fails = commandOf(request) == VQ_Command::kGetDeviceDescriptor && left_ > 0;
      if (!fails) return request;
      --left_;
      return answer;
    };
    return service;
  }

  void open(Service service) {
    startDriver(std::move(service));
    ASSERT_EQ(client_.open(), kIOReturnSuccess);
  }
  bool isTakenInAfter(std::size_t attempts) {
    return client_.waitUntil([&] { return taken_.size() == attempts; }) && taken_.back();
  }
  // Runs until no probe or message is pending.
  void expectQuiet() {
    for (int i = 0; i < 3; ++i) {
      ASSERT_TRUE(arriveFrom(driver_));
      while (client_.isReady()) client_.source().perform();
    }
  }

  io_connect_t connection_ = 0;
  std::vector<bool> taken_;  // for each service that came, whether it answered
  std::atomic<int> left_ = 0;
};

TEST_F(DriverRecovery, AServiceThatDidNotAnswerOnceIsPublishedAnew) {
  open(failing(1, std::nullopt));
  EXPECT_TRUE(isTakenInAfter(2));
  EXPECT_EQ(client_.gone, 1);
  expectQuiet();
  EXPECT_EQ(client_.come, 2);
}

TEST_F(DriverRecovery, AServiceWithAShortAnswerIsPublishedAnew) {
  open(failing(1, Bytes(100)));
  EXPECT_TRUE(isTakenInAfter(2));
}

TEST_F(DriverRecovery, AServiceThatRefusesARequestIsNot) {
  Bytes refusal(kDispatchRefusalSize);
  wire::store(refusal, 0, static_cast<std::uint32_t>(VQ_Command::kGetDeviceDescriptor));
  open(failing(100, refusal));
  expectQuiet();
  EXPECT_THAT(taken_, ElementsAre(false));
}

TEST_F(DriverRecovery, AServiceThatDoesNotOpenOnceIsPublishedAnew) {
  std::atomic<int> refusals = 1;
  Service service = sane();
  Driver* driver = nullptr;
  driver_.perform([&](Driver& itself) { driver = &itself; });
  service.open = [&, driver](std::uint32_t) {
    return refusals-- > 0 ? -1 : driver->openChannel("Device");
  };
  open(service);
  EXPECT_TRUE(isTakenInAfter(2));
}

TEST_F(DriverRecovery, AServiceThatOpensLaterIsPublishedAnewAtTheDriversNextMessage) {
  Service service = sane();
  service.open = [](std::uint32_t) { return -1; };
  open(service);
  expectQuiet();
  EXPECT_THAT(taken_, ElementsAre(false));
  driver_.perform([](Driver& driver) {
    driver.service("Device").open = nullptr;
    driver.sendMessage("Device", 1, Bytes{});
  });
  EXPECT_TRUE(isTakenInAfter(2));
}

TEST_F(DriverRecovery, AProbeThatIsNotAnsweredIsRepeatedAtTheDriversNextMessage) {
  Service service = sane();
  left_ = 2;  // the client's request and the probe's
  service.respond = [this](std::uint32_t, const Bytes& request) -> std::optional<Bytes> {
    if (left_ > 0 && left_-- > 0) return std::nullopt;
    return request;
  };
  open(service);
  EXPECT_THAT(taken_, ElementsAre(false));
  expectQuiet();
  EXPECT_EQ(taken_.size(), 1u);
  // The repetition waits until the first probe is overdue.
  const session_bus::Deadline overdue(kRegistryCallLimitMs);
  while (!overdue.hasPassed()) expectQuiet();
  driver_.perform([](Driver& driver) { driver.sendMessage("Device", 1, Bytes{}); });
  EXPECT_TRUE(isTakenInAfter(2));
}

TEST_F(DriverRecovery, ASlowDriverThatAnswersInTimeIsAskedInEveryTurn) {
  constexpr int kAnswerMs = 150;
  constexpr int kRequests = 10;  // more than one turn's time for waiting
  Service service = sane();
  std::atomic<bool> slow = false;
  service.respond = [&slow](std::uint32_t, const Bytes& request) -> std::optional<Bytes> {
    const session_bus::Deadline answer(slow ? kAnswerMs : 0);
    while (!answer.hasPassed()) poll(nullptr, 0, answer.milliseconds());
    return request;
  };
  open(service);
  ASSERT_THAT(taken_, ElementsAre(true));
  slow = true;
  for (int i = 0; i < kRequests; ++i) {
    while (client_.isReady()) client_.source().perform();
    EXPECT_TRUE(ask());
  }
  EXPECT_EQ(client_.come, 1);
}

TEST_F(DriverRecovery, AServiceOfADriverThatHungIsPublishedAnewWhenItGoesOn) {
  startDriver(failing(0, {}));
  std::optional<std::promise<void>> release;
  client_.takeIn = [&](io_service_t service) {
    if (!release) release = hang();
    takeIn(service);
  };
  ASSERT_EQ(client_.open(), kIOReturnSuccess);
  EXPECT_THAT(taken_, ElementsAre(false));
  release->set_value();
  EXPECT_TRUE(isTakenInAfter(2));
}

TEST_F(DriverRecovery, ADriverThatAnswersOnlyTheProbeIsTriedThreeTimesMore) {
  open(failing(100, Bytes(100)));
  EXPECT_TRUE(client_.waitUntil([this] { return taken_.size() == 4; }));
  expectQuiet();
  EXPECT_EQ(taken_.size(), 4u);
  EXPECT_THAT(taken_, Each(false));
}

// Needs time to pass.
TEST_F(DriverRecovery, AMessageOfSuchADriverASecondLaterAllowsAnotherTry) {
  open(failing(4, Bytes(100)));
  EXPECT_TRUE(client_.waitUntil([this] { return taken_.size() == 4; }));
  expectQuiet();
  EXPECT_THAT(taken_, Each(false));
  const session_bus::Deadline second(1000);
  while (!second.hasPassed()) poll(nullptr, 0, second.milliseconds());
  driver_.perform([](Driver& driver) { driver.sendMessage("Device", 1, Bytes{}); });
  EXPECT_TRUE(isTakenInAfter(5));
}

TEST_F(DriverRecovery, ADriverThatAnswersNothingIsLeftAloneWhateverItSays) {
  Service service = sane();
  service.respond = [](auto, const auto&) { return std::nullopt; };
  open(service);
  driver_.perform([](Driver& driver) {
    for (std::uint32_t i = 0; i < 100; ++i) driver.sendMessage("Device", i, Bytes{});
  });
  expectQuiet();
  EXPECT_THAT(taken_, ElementsAre(false));
}

TEST_F(DriverRecovery, AServiceThatIsTakenInAlreadyStaysAndItsClientIsToldToReadItAgain) {
  open(failing(0, std::nullopt));
  ASSERT_THAT(taken_, ElementsAre(true));
  while (client_.isReady()) client_.source().perform();  // as the run loop does
  left_ = 1;
  EXPECT_FALSE(ask());
  EXPECT_TRUE(client_.waitUntil([this] { return !client_.messages.empty(); }));
  ASSERT_EQ(client_.messages.size(), 1u);
  EXPECT_EQ(notificationOf(client_.messages[0].first, client_.messages[0].second), kStateChanged);
  EXPECT_TRUE(ask());
  EXPECT_EQ(client_.come, 1);
  EXPECT_EQ(client_.gone, 0);
}

// Needs time to pass.
TEST(DriverWaitsTest, TheTimeForWaitingIsRenewedAfterASecondWithoutACall) {
  constexpr int kLimitMs = static_cast<int>(DriverWaits::kLimit.count());
  DriverWaits waits;
  {
    const DriverWaits::Call call(waits, kRegistryCallLimitMs);
    poll(nullptr, 0, kLimitMs);
  }
  EXPECT_EQ(DriverWaits::Call(waits, kRegistryCallLimitMs).limitMs(), 0);
  poll(nullptr, 0, kLimitMs);
  EXPECT_EQ(DriverWaits::Call(waits, kRegistryCallLimitMs).limitMs(), kRegistryCallLimitMs);
}

TEST_F(DriverRecovery, ManySilentServicesShareOneSecondOfWaitingInATurn) {
  constexpr int kSilent = 12;
  driver_.perform([](Driver& driver) {
    for (int i = 0; i < kSilent; ++i) {
      Service service = sane();
      service.respond = [](auto, const auto&) { return std::nullopt; };
      driver.publish("Silent" + std::to_string(i), service);
    }
    driver.publish("Sound", sane());
    driver.claimName();
  });
  int longest = millisecondsOf([this] { ASSERT_EQ(client_.open(), kIOReturnSuccess); });
  const session_bus::Deadline patience(60'000);
  // The healthy service is listed last, so the others are read first.
  while ((taken_.empty() || !taken_.back()) && !patience.hasPassed()) {
    longest = std::max(longest, millisecondsOf([this] { client_.source().perform(); }));
  }
  EXPECT_TRUE(taken_.back());
  EXPECT_LE(longest, DriverWaits::kLimit.count() + 1000);  // without the limit, three times as long
}

TEST_F(DriverRecovery, OfAFloodOfServicesAThousandAndTwentyFourAreKept) {
  driver_.perform([](Driver& driver) {
    driver.scriptListing([](sd_bus_message* m) {
      int result = sd_bus_message_open_container(m, 'a', "{oa{sa{sv}}}");
      for (int i = 0; i < 2000 && result >= 0; ++i) {
        result = sd_bus_message_append(
            m, "{oa{sa{sv}}}", ("/com/vantrel/Driver1/D" + std::to_string(i)).c_str(), 1,
            "com.vantrel.Driver1.Service", 1, "ClassName", "s", kTestClass);
      }
      return result < 0 ? result : sd_bus_message_close_container(m);
    });
    driver.claimName();
  });
  client_.takeIn = nullptr;
  ASSERT_EQ(client_.open(), kIOReturnSuccess);
  EXPECT_TRUE(client_.waitUntil([this] { return client_.come == 1024; }));
  client_.source().perform();
  EXPECT_EQ(client_.come, 1024);
}

}  // namespace
