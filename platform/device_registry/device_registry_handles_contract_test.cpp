// SPDX-License-Identifier: MIT
// The handles of every device registry: their objects and lifetimes.
#include <array>

#include "platform/device_registry/contract_client.h"
#include "protocol/dispatch.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(DeviceRegistry, OperationsAcceptZeroAndFailOrDoNothing) {
  CFDictionary properties;
  io_object_t object = 1;
  std::size_t size = 0;
  EXPECT_EQ(IONotificationPortCreate(0), nullptr);
  EXPECT_EQ(IONotificationPortGetRunLoopSource(nullptr), nullptr);
  EXPECT_NE(IOServiceGetMatchingServices(0, IOServiceMatching(kClass), &object), kIOReturnSuccess);
  EXPECT_NE(IOServiceAddMatchingNotification(nullptr, kIOPublishNotification,
                                             IOServiceMatching(kClass), nullptr, nullptr, &object),
            kIOReturnSuccess);
  EXPECT_NE(IOServiceAddInterestNotification(client_.port, 0, kIOGeneralInterest, nullptr, nullptr,
                                             &object),
            kIOReturnSuccess);
  EXPECT_NE(IORegistryEntryCreateCFProperties(0, &properties), kIOReturnSuccess);
  EXPECT_NE(IOServiceOpen(0, kDispatchConnectionType, &object), kIOReturnSuccess);
  EXPECT_EQ(object, 0u);
  EXPECT_NE(IOServiceClose(0), kIOReturnSuccess);
  EXPECT_NE(IOConnectMethodStructureIStructureO(0, 0, {}, {}, &size), kIOReturnSuccess);
  EXPECT_EQ(IOIteratorNext(0), 0u);
  IOObjectRetain(0);
  IOObjectRelease(0);
  IONotificationPortDestroy(nullptr);
  mach_port_deallocate(0);
}

TEST_F(DeviceRegistry, AHandleOfAnotherKindOfObjectIsRefused) {
  publish();
  arrive();
  const io_service_t service = find();
  io_object_t object = 0;
  EXPECT_EQ(IOIteratorNext(service), 0u);
  EXPECT_NE(IOServiceOpen(client_.add(kIOPublishNotification), kDispatchConnectionType, &object),
            kIOReturnSuccess);
  EXPECT_NE(IOServiceClose(service), kIOReturnSuccess);
  EXPECT_EQ(IONotificationPortCreate(service), nullptr);
}

TEST_F(DeviceRegistry, AnEmptyClassNameIsRefused) {
  io_iterator_t iterator = 1;
  EXPECT_THAT(IOServiceMatching(""), IsEmpty());
  EXPECT_NE(IOServiceGetMatchingServices(client_.master, IOServiceMatching(""), &iterator),
            kIOReturnSuccess);
  EXPECT_NE(IOServiceAddMatchingNotification(client_.port, kIOPublishNotification, {}, nullptr,
                                             nullptr, &iterator),
            kIOReturnSuccess);
  EXPECT_EQ(iterator, 0u);
}

TEST_F(DeviceRegistry, AnUnknownKindOfNotificationIsRefused) {
  publish();
  arrive();
  io_object_t object = 1;
  EXPECT_NE(IOServiceAddMatchingNotification(client_.port, "IOServiceMatched",
                                             IOServiceMatching(kClass), nullptr, nullptr, &object),
            kIOReturnSuccess);
  EXPECT_EQ(object, 0u);
  EXPECT_NE(IOServiceAddInterestNotification(client_.port, find(), "IOBusyInterest", nullptr,
                                             nullptr, &object),
            kIOReturnSuccess);
  EXPECT_EQ(object, 0u);
}

TEST_F(DeviceRegistry, AfterTheLastMasterPortIsReleasedOnlyReleasesSucceed) {
  publish();
  arrive();
  const io_service_t service = find();
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(service, kDispatchConnectionType, &connection), kIOReturnSuccess);
  mach_port_t second = 0;
  ASSERT_EQ(IOMasterPort(&second), kIOReturnSuccess);
  mach_port_deallocate(client_.master);
  CFDictionary properties;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnSuccess);

  mach_port_deallocate(second);
  client_.master = 0;
  io_object_t object = 1;
  std::size_t size = 0;
  EXPECT_NE(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnSuccess);
  EXPECT_NE(IOServiceOpen(service, kDispatchConnectionType, &object), kIOReturnSuccess);
  EXPECT_NE(IOServiceGetMatchingServices(second, IOServiceMatching(kClass), &object),
            kIOReturnSuccess);
  EXPECT_NE(IOServiceAddMatchingNotification(client_.port, kIOPublishNotification,
                                             IOServiceMatching(kClass), nullptr, nullptr, &object),
            kIOReturnSuccess);
  EXPECT_NE(IOConnectMethodStructureIStructureO(connection, 0, {}, {}, &size), kIOReturnSuccess);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
}

TEST_F(DeviceRegistry, AReopenedRegistryListsThePresentServices) {
  publish();
  arrive();
  mach_port_deallocate(client_.master);
  ASSERT_EQ(IOMasterPort(&client_.master), kIOReturnSuccess);
  arrive();
  EXPECT_NE(find(), 0u);
}

TEST_F(DeviceRegistry, MatchingListsOnlyThePresentServicesOfTheClass) {
  publish();
  publish(kOtherClass);
  const int gone = publish();
  world_->terminate(gone);
  publish("");
  arrive();
  io_iterator_t iterator = 0;
  ASSERT_EQ(IOServiceGetMatchingServices(client_.master, IOServiceMatching(kClass), &iterator),
            kIOReturnSuccess);
  client_.owned.push_back(iterator);
  client_.drain(iterator, "");
  EXPECT_THAT(client_.log, ElementsAre("1"));
}

TEST_F(DeviceRegistry, WithoutMatchingServicesTheIteratorIsEmpty) {
  io_iterator_t iterator = 0;
  EXPECT_EQ(IOServiceGetMatchingServices(client_.master, IOServiceMatching(kClass), &iterator),
            kIOReturnSuccess);
  EXPECT_NE(iterator, 0u);
  EXPECT_EQ(IOIteratorNext(iterator), 0u);
  client_.owned.push_back(iterator);
}

TEST_F(DeviceRegistry, EveryIteratorReturnsTheSameHandleForAService) {
  publish();
  arrive();
  const io_service_t service = find();
  client_.follow();
  EXPECT_EQ(client_.services, std::vector{service});
  EXPECT_EQ(find(), service);
}

TEST_F(DeviceRegistry, AHandleInUseIsNotReusedForAnotherService) {
  client_.follow();
  for (int i = 0; i < 3; ++i) {
    const int device = publish();
    perform();
    world_->terminate(device);
    perform();
  }
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1", "+2", "-2", "+3", "-3"));
}

TEST_F(DeviceRegistry, ARetainedHandleSurvivesOneRelease) {
  publish();
  arrive();
  const io_service_t service = find();
  CFDictionary properties;
  IOObjectRetain(service);
  client_.release(service);
  EXPECT_EQ(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnSuccess);
  IOObjectRelease(service);
  EXPECT_NE(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnSuccess);
}

TEST_F(DeviceRegistry, ATerminatedServiceKeepsItsHandleAndItsOperationsFail) {
  const int device = publish();
  arrive();
  const io_service_t service = find();
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(service, kDispatchConnectionType, &connection), kIOReturnSuccess);
  world_->terminate(device);
  perform();
  CFDictionary properties{{"kept", 1}};
  io_object_t object = 1;
  std::array<std::uint8_t, 4> output{};
  std::size_t size = 9;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnNoDevice);
  EXPECT_EQ(properties, (CFDictionary{{"kept", 1}}));
  EXPECT_EQ(IOServiceOpen(service, kDispatchConnectionType, &object), kIOReturnNoDevice);
  EXPECT_EQ(object, 0u);
  EXPECT_EQ(IOConnectMethodStructureIStructureO(connection, 0, output, output, &size),
            kIOReturnNoDevice);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
}

TEST_F(DeviceRegistry, PropertiesAreReadFromTheDriverEachTime) {
  const CFDictionary first{{"idVendor", 0x7f21},
                           {"big", std::int64_t{1} << 40},
                           {"yes", true},
                           {"ratio", 0.5},
                           {"USB Product Name", "VX-310"},
                           {"AjExtData", CFDictionary{{"RoutingIn0", 3}}},
                           {"OrbekUID", CFData{1, 2, 3}},
                           {"list", CFArray{1, "two"}},
                           {"nothing", CFData{}}};
  const int device = world_->publish({.className = kClass, .properties = first});
  arrive();
  const io_service_t service = find();
  CFDictionary properties{{"before", 1}};
  EXPECT_EQ(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnSuccess);
  EXPECT_EQ(properties, first);
  world_->changeProperties(device, {{"idVendor", 2}});
  EXPECT_EQ(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnSuccess);
  EXPECT_EQ(properties, (CFDictionary{{"idVendor", 2}}));
}

}  // namespace
