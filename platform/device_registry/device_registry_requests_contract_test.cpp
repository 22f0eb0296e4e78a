// SPDX-License-Identifier: MIT
// Requests over a driver connection of every device registry.
#include <poll.h>

#include <array>
#include <optional>
#include <utility>

#include "platform/device_registry/contract_client.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = ContractWorld::Bytes;

// One scripted device and one connection to its driver.
class DeviceRegistryRequests : public DeviceRegistry {
 protected:
  using Answer = std::optional<Bytes>;

  void connect(std::function<Answer(std::uint32_t, const Bytes&)> respond) {
    const io_service_t service = findPublished({.className = kClass, .respond = respond});
    ASSERT_EQ(IOServiceOpen(service, 2, &connection_), kIOReturnSuccess);
    ASSERT_NE(connection_, 0u);
  }
  void connectAnswering(Answer answer) {
    connect([answer](auto, const auto&) { return answer; });
  }
  IOReturn send(const Bytes& request, std::uint32_t selector = 0) {
    return IOConnectMethodStructureIStructureO(connection_, selector, request, output_, &size_);
  }
  ~DeviceRegistryRequests() override { IOServiceClose(connection_); }

  io_connect_t connection_ = 0;
  std::array<std::uint8_t, 4> output_{9, 9, 9, 9};
  std::size_t size_ = 77;
};

TEST_F(DeviceRegistryRequests, ARequestReachesTheDriverWithItsSelector) {
  std::uint32_t selector = 0;
  Bytes request;
  connect([&](std::uint32_t s, const Bytes& r) {
    selector = s;
    request = r;
    return Bytes{4, 3, 2, 1};
  });
  EXPECT_EQ(send({1, 2, 3}, 0x01020304), kIOReturnSuccess);
  EXPECT_EQ(selector, 0x01020304u);
  EXPECT_THAT(request, ElementsAre(1, 2, 3));
  EXPECT_THAT(output_, ElementsAre(4, 3, 2, 1));
  EXPECT_EQ(size_, 4u);
}

TEST_F(DeviceRegistryRequests, AShorterAnswerLeavesTheRestOfTheOutputUnchanged) {
  connectAnswering(Bytes{5});
  EXPECT_EQ(send({1}), kIOReturnSuccess);
  EXPECT_EQ(size_, 1u);
  EXPECT_THAT(output_, ElementsAre(5, 9, 9, 9));
}

TEST_F(DeviceRegistryRequests, AnEmptyAnswerHasNoBytes) {
  connectAnswering(Bytes{});
  EXPECT_EQ(send({1}), kIOReturnSuccess);
  EXPECT_EQ(size_, 0u);
  EXPECT_THAT(output_, ElementsAre(9, 9, 9, 9));
}

TEST_F(DeviceRegistryRequests, ALongerAnswerIsAnOverrunAndStoresNothing) {
  bool isLong = true;
  connect([&](auto, const Bytes& request) {
    return std::exchange(isLong, false) ? Bytes(5, 1) : request;
  });
  EXPECT_EQ(send({1}), kIOReturnOverrun);
  EXPECT_THAT(output_, ElementsAre(9, 9, 9, 9));
  EXPECT_EQ(send({2}), kIOReturnSuccess);
  EXPECT_THAT(output_, ElementsAre(2, 9, 9, 9));
}

TEST_F(DeviceRegistryRequests, WithoutAnAnswerTheCallTimesOutAndTheNextGetsItsOwnAnswer) {
  bool silent = true;
  connect([&](auto, const Bytes& request) {
    return std::exchange(silent, false) ? Answer() : Answer(request);
  });
  EXPECT_EQ(send({1}), kIOReturnTimeout);
  EXPECT_THAT(output_, ElementsAre(9, 9, 9, 9));
  EXPECT_EQ(send({2}), kIOReturnSuccess);
  EXPECT_THAT(output_, ElementsAre(2, 9, 9, 9));
}

TEST_F(DeviceRegistryRequests, InputAndOutputMayBeTheSameMemory) {
  connect([](auto, const Bytes& request) { return Bytes(request.rbegin(), request.rend()); });
  output_ = {1, 2, 3, 4};
  EXPECT_EQ(IOConnectMethodStructureIStructureO(connection_, 0, output_, output_, &size_),
            kIOReturnSuccess);
  EXPECT_THAT(output_, ElementsAre(4, 3, 2, 1));
}

TEST_F(DeviceRegistryRequests, ARequestAndAnAnswerMayBeEmpty) {
  connect({});
  EXPECT_EQ(IOConnectMethodStructureIStructureO(connection_, 0, {}, {}, &size_), kIOReturnSuccess);
  EXPECT_EQ(size_, 0u);
}

TEST_F(DeviceRegistryRequests, ConnectionsOfOneServiceAreIndependent) {
  connect({});
  io_connect_t second = 0;
  ASSERT_EQ(IOServiceOpen(find(), 2, &second), kIOReturnSuccess);
  EXPECT_NE(second, connection_);
  EXPECT_EQ(IOServiceClose(second), kIOReturnSuccess);
  EXPECT_EQ(send({1}), kIOReturnSuccess);
}

TEST_F(DeviceRegistryRequests, AClosedConnectionIsRefused) {
  connect({});
  EXPECT_EQ(IOServiceClose(connection_), kIOReturnSuccess);
  EXPECT_NE(IOServiceClose(connection_), kIOReturnSuccess);
  EXPECT_EQ(send({1}), kIOReturnNotOpen);
}

TEST_F(DeviceRegistryRequests, AConnectionOutlivesTheClientsServiceHandle) {
  connect({});
  client_.release(find());
  for (const io_object_t object : std::exchange(client_.owned, {})) IOObjectRelease(object);
  EXPECT_EQ(send({1}), kIOReturnSuccess);
}

TEST_F(DeviceRegistryRequests, EventsDuringACallAreQueuedAndMakeTheSourceReady) {
  client_.follow();
  connect({});
  perform();
  client_.log.clear();
  ASSERT_FALSE(client_.isReady());
  publish();
  EXPECT_EQ(send({1}), kIOReturnSuccess);
  pollfd watched{client_.source->descriptor(), POLLIN, 0};
  EXPECT_EQ(poll(&watched, 1, 5000), 1);
  EXPECT_THAT(client_.log, IsEmpty());
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+2"));
}

}  // namespace
