// SPDX-License-Identifier: MIT
// The parts of the in-memory registry that are not in the contract: scripts, failures on demand,
// and the count of handles that clients hold.
#include "platform/device_registry/memory/memory_registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace {

using memory_registry::Operation;
using memory_registry::Outstanding;
using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kClass = "TestInterface";

class MemoryRegistry : public testing::Test {
 protected:
  ~MemoryRegistry() override { memory_registry::reset(); }

  mach_port_t masterPort() {
    mach_port_t port = 0;
    EXPECT_EQ(IOMasterPort(&port), kIOReturnSuccess);
    return port;
  }

  // The only present service of the class.
  io_service_t service(mach_port_t port) {
    io_iterator_t iterator = 0;
    EXPECT_EQ(IOServiceGetMatchingServices(port, IOServiceMatching(kClass), &iterator),
              kIOReturnSuccess);
    const io_service_t found = IOIteratorNext(iterator);
    IOObjectRelease(iterator);
    return found;
  }

  io_connect_t connectTo(memory_registry::Device device, std::uint32_t type = 2) {
    id_ = memory_registry::publish(std::move(device));
    io_connect_t connection = 0;
    EXPECT_EQ(IOServiceOpen(service(masterPort()), type, &connection), kIOReturnSuccess);
    return connection;
  }

  IOReturn send(io_connect_t connection, std::uint32_t selector, const Bytes& request) {
    return IOConnectMethodStructureIStructureO(connection, selector, request, output_, &size_);
  }

  memory_registry::DeviceId id_ = 0;
  std::array<std::uint8_t, 4> output_{};
  std::size_t size_ = 0;
};

TEST_F(MemoryRegistry, ADevicePublishedBeforeTheRegistryIsOpenedIsPresentAfterwards) {
  memory_registry::publish({.className = kClass, .properties = {}, .respond = {}});
  EXPECT_NE(service(masterPort()), 0u);
}

TEST_F(MemoryRegistry, WithoutAScriptARequestComesBackUnchanged) {
  const io_connect_t connection = connectTo({.className = kClass, .properties = {}, .respond = {}});
  EXPECT_EQ(send(connection, 0, {1, 2, 3}), kIOReturnSuccess);
  EXPECT_EQ(size_, 3u);
  EXPECT_THAT(output_, ElementsAre(1, 2, 3, 0));
}

TEST_F(MemoryRegistry, EveryRequestIsRecordedWithItsConnectionTypeAndSelector) {
  const io_connect_t connection =
      connectTo({.className = kClass, .properties = {}, .respond = {}}, 7);
  send(connection, 3, {9});
  ASSERT_EQ(memory_registry::requests().size(), 1u);
  const memory_registry::Request& request = memory_registry::requests().front();
  EXPECT_EQ(request.device, id_);
  EXPECT_EQ(request.connectionType, 7u);
  EXPECT_EQ(request.selector, 3u);
  EXPECT_THAT(request.bytes, ElementsAre(9));
}

TEST_F(MemoryRegistry, AScriptMayTerminateItsOwnDevice) {
  const io_connect_t connection =
      connectTo({.className = kClass, .properties = {}, .respond = [this](auto, auto) {
                   memory_registry::terminate(id_);
                   return Bytes{5};
                 }});
  EXPECT_EQ(send(connection, 0, {1}), kIOReturnSuccess);
  EXPECT_EQ(send(connection, 0, {1}), kIOReturnNoDevice);
}

TEST_F(MemoryRegistry, ThePropertiesAndTheScriptOfAPublishedDeviceCanBeChanged) {
  const io_connect_t connection = connectTo({.className = kClass, .properties = {}, .respond = {}});
  memory_registry::device(id_).respond = [](auto, auto) { return Bytes{8}; };
  memory_registry::device(id_).properties = {{"idVendor", 1}};
  send(connection, 0, {1});
  EXPECT_EQ(output_[0], 8);
  mach_port_t port = masterPort();
  CFDictionary properties;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(service(port), &properties), kIOReturnSuccess);
  EXPECT_EQ(properties, (CFDictionary{{"idVendor", 1}}));
}

TEST_F(MemoryRegistry, TheResultOfOpeningIsTheDevicesOwn) {
  memory_registry::publish(
      {.className = kClass, .properties = {}, .respond = {}, .openResult = kIOReturnTimeout});
  io_connect_t connection = 1;
  EXPECT_EQ(IOServiceOpen(service(masterPort()), 2, &connection), kIOReturnTimeout);
  EXPECT_EQ(connection, 0u);
}

TEST_F(MemoryRegistry, AFailureOnDemandLastsForItsCount) {
  mach_port_t port = 1;
  memory_registry::failNext(Operation::kMasterPort, kIOReturnNoDevice, 2);
  EXPECT_EQ(IOMasterPort(&port), kIOReturnNoDevice);
  EXPECT_EQ(port, 0u);
  EXPECT_EQ(IOMasterPort(&port), kIOReturnNoDevice);
  EXPECT_EQ(IOMasterPort(&port), kIOReturnSuccess);
}

TEST_F(MemoryRegistry, EveryOperationCanBeMadeToFail) {
  const io_connect_t open = connectTo({.className = kClass, .properties = {}, .respond = {}});
  const mach_port_t master = masterPort();
  const io_service_t device = service(master);
  const IONotificationPortRef port = IONotificationPortCreate(master);
  const CFDictionary matching = IOServiceMatching(kClass);
  for (const Operation operation :
       {Operation::kNotificationPortCreate, Operation::kGetRunLoopSource,
        Operation::kAddPublishNotification, Operation::kAddTerminateNotification,
        Operation::kAddInterestNotification, Operation::kGetMatchingServices,
        Operation::kCreateProperties, Operation::kServiceOpen, Operation::kConnectMethod}) {
    memory_registry::failNext(operation);
  }
  CFDictionary properties;
  io_object_t object = 1;
  EXPECT_EQ(IONotificationPortCreate(master), nullptr);
  EXPECT_EQ(IONotificationPortGetRunLoopSource(port), nullptr);
  for (const char* kind : {kIOPublishNotification, kIOTerminatedNotification}) {
    EXPECT_EQ(IOServiceAddMatchingNotification(port, kind, matching, nullptr, nullptr, &object),
              kIOReturnError);
  }
  EXPECT_EQ(
      IOServiceAddInterestNotification(port, device, kIOGeneralInterest, nullptr, nullptr, &object),
      kIOReturnError);
  EXPECT_EQ(IOServiceGetMatchingServices(master, matching, &object), kIOReturnError);
  EXPECT_EQ(object, 0u);
  EXPECT_EQ(IORegistryEntryCreateCFProperties(device, &properties), kIOReturnError);
  EXPECT_EQ(IOServiceOpen(device, 2, &object), kIOReturnError);
  EXPECT_EQ(send(open, 0, {1}), kIOReturnError);
  EXPECT_EQ(send(open, 0, {1}), kIOReturnSuccess);
}

TEST_F(MemoryRegistry, EveryHandleIsCountedUntilItIsReleased) {
  memory_registry::publish({.className = kClass, .properties = {}, .respond = {}});
  const mach_port_t master = masterPort();
  const IONotificationPortRef port = IONotificationPortCreate(master);
  const io_service_t device = service(master);
  IOObjectRetain(device);
  io_object_t iterator = 0;
  io_object_t interest = 0;
  io_connect_t connection = 0;
  IOServiceAddMatchingNotification(port, kIOPublishNotification, IOServiceMatching(kClass), nullptr,
                                   nullptr, &iterator);
  IOServiceAddInterestNotification(port, device, kIOGeneralInterest, nullptr, nullptr, &interest);
  IOServiceOpen(device, 2, &connection);
  EXPECT_EQ(memory_registry::outstanding(), (Outstanding{4, 1, 1, 1}));

  IOServiceClose(connection);
  for (const io_object_t object : {interest, iterator, device, device}) IOObjectRelease(object);
  IONotificationPortDestroy(port);
  mach_port_deallocate(master);
  EXPECT_EQ(memory_registry::outstanding(), Outstanding{});
}

TEST_F(MemoryRegistry, AResetInvalidatesEarlierHandles) {
  memory_registry::publish({.className = kClass, .properties = {}, .respond = {}});
  const mach_port_t before = masterPort();
  const io_service_t old = service(before);
  memory_registry::reset();
  EXPECT_EQ(memory_registry::outstanding(), Outstanding{});
  memory_registry::publish({.className = kClass, .properties = {}, .respond = {}});
  const mach_port_t after = masterPort();
  EXPECT_NE(after, before);
  EXPECT_NE(service(after), old);
  CFDictionary properties;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(old, &properties), kIOReturnBadArgument);
  EXPECT_EQ(IONotificationPortCreate(before), nullptr);
}

}  // namespace
