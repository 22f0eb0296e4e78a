// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <map>

#include "device/testing/discovery_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DriverMessages : public Discovery {
 protected:
  DriverMessages() {
    id = publish();
    start();
    events.clear();
  }

  // The event that the client gets for a message; 0 if it gets none.
  int eventFor(natural_t type, const std::vector<std::uint8_t>& argument) {
    events.clear();
    memory_registry::sendMessage(id, type, argument);
    manual_run_loop::performAll();
    EXPECT_LE(events.size(), 1u);
    return events.empty() ? 0 : events.front().event;
  }

  static std::vector<std::uint8_t> messageOf(std::uint32_t size, std::uint32_t number,
                                             std::size_t length = 36) {
    std::vector<std::uint8_t> argument(length);
    wire::store(argument, 0, size);
    wire::store(argument, 4, number);
    return argument;
  }

  memory_registry::DeviceId id = 0;
};

TEST_F(DriverMessages, EachNotificationNumberGivesItsEvent) {
  const std::map<std::uint32_t, VQAPI_CBEvent> expected = {
      {3, VQAPI_CB_Changed},  {49, VQAPI_CB_Changed}, {50, VQAPI_CB_Changed},
      {55, VQAPI_CB_Changed}, {56, VQAPI_CB_Changed}, {34, VQAPI_CB_Notify4},
      {14, VQAPI_CB_Notify5}, {35, VQAPI_CB_Notify6}, {48, VQAPI_CB_Notify7}};
  for (std::uint32_t number = 0; number < 300; ++number) {
    const auto entry = expected.find(number);
    EXPECT_EQ(eventFor(kDriverMessage, messageOf(36, number)),
              entry == expected.end() ? 0 : entry->second)
        << number;
  }
  EXPECT_EQ(eventFor(kDriverMessage, messageOf(36, 0xffffffff)), 0);
}

TEST_F(DriverMessages, TheEventNamesTheDeviceWhoseDriverSentTheMessage) {
  const auto second = publish();
  manual_run_loop::performAll();
  events.clear();
  sendNotification(second, 48);
  manual_run_loop::performAll();
  EXPECT_THAT(events, ElementsAre(Event{vqapiDeviceMap[1], VQAPI_CB_Notify7}));
}

TEST_F(DriverMessages, ARecordWhoseFirstWordIsNot36CausesNoEvent) {
  for (const std::uint32_t size : {0u, 35u, 37u, 0x24000000u}) {
    EXPECT_EQ(eventFor(kDriverMessage, messageOf(size, 3)), 0) << size;
  }
}

TEST_F(DriverMessages, ARecordShorterThanItSaysCausesNoEvent) {
  for (const std::size_t length : {0u, 4u, 8u, 35u}) {
    EXPECT_EQ(eventFor(kDriverMessage, messageOf(36, 3, length)), 0) << length;
  }
}

TEST_F(DriverMessages, BytesAfterTheRecordAreIgnored) {
  EXPECT_EQ(eventFor(kDriverMessage, messageOf(36, 3, 64)), VQAPI_CB_Changed);
}

TEST_F(DriverMessages, AMessageOfAnotherTypeCausesNoEvent) {
  for (const natural_t type : {0u, 0xe0000010u, 0xe0000131u}) {
    EXPECT_EQ(eventFor(type, messageOf(36, 3)), 0) << type;
  }
}

TEST_F(DriverMessages, AreRequestedOnceAndNotWithoutAPort) {
  const auto before = memory_registry::outstanding();
  vqapiDeviceMap[0]->addInterestNotification(_vqapiNotifyPort);
  EXPECT_EQ(memory_registry::outstanding(), before);
  EXPECT_EQ(eventFor(kDriverMessage, messageOf(36, 3)), VQAPI_CB_Changed);

  const Retained other(new USBDevice(vqapiDeviceMap[0]->getDeviceInstance()));
  const auto withOther = memory_registry::outstanding();
  other->addInterestNotification(nullptr);
  EXPECT_EQ(memory_registry::outstanding(), withOther);
  EXPECT_EQ(eventFor(kDriverMessage, messageOf(36, 3)), VQAPI_CB_Changed);
}

TEST_F(DriverMessages, WithoutADeviceNothingHappens) {
  USBDevice::ServiceInterestCallback(nullptr, 0, kDriverMessage, messageOf(36, 3));
  EXPECT_THAT(events, IsEmpty());
}

}  // namespace
