// SPDX-License-Identifier: MIT
// The client side of the contract suite. Each back end's test program compiles the suite
// (device_registry_*_contract_test.cpp) and provides the drivers (contract_world.h).
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/device_registry/contract_world.h"
#include "platform/device_registry/device_registry.h"

inline constexpr const char* kClass = "TestInterface";
inline constexpr const char* kOtherClass = "OtherInterface";

// A client with one notification port. It logs its notifications in order: "+N" for the publication
// and "-N" for the termination of service number N, "mTYPE" for a message. It numbers services from
// 1 in the order in which it first saw them.
class ContractClient {
 public:
  ContractClient() {
    EXPECT_EQ(IOMasterPort(&master), kIOReturnSuccess);
    EXPECT_NE(master, 0u);
    port = IONotificationPortCreate(master);
    source = IONotificationPortGetRunLoopSource(port);
    EXPECT_NE(source, nullptr);
  }
  ~ContractClient() {
    for (const io_object_t object : owned) IOObjectRelease(object);
    if (port) IONotificationPortDestroy(port);
    if (master) mach_port_deallocate(master);
  }

  io_iterator_t add(const char* kind, const char* className = kClass) {
    io_iterator_t iterator = 0;
    EXPECT_EQ(IOServiceAddMatchingNotification(
                  port, kind, IOServiceMatching(className),
                  kind == std::string_view(kIOPublishNotification) ? published : terminated, this,
                  &iterator),
              kIOReturnSuccess);
    EXPECT_NE(iterator, 0u);
    owned.push_back(iterator);
    return iterator;
  }
  // Requests notifications of both kinds and arms them; services that are present get a number.
  void follow() {
    publishIterator = add(kIOPublishNotification);
    terminateIterator = add(kIOTerminatedNotification);
    drain(publishIterator, "+");
    drain(terminateIterator, "-");
  }
  io_object_t addInterest(io_service_t service, IOServiceInterestCallback callback = told) {
    io_object_t notification = 0;
    EXPECT_EQ(IOServiceAddInterestNotification(port, service, kIOGeneralInterest, callback, this,
                                               &notification),
              kIOReturnSuccess);
    return notification;
  }
  void release(io_object_t object) {
    std::erase(owned, object);
    IOObjectRelease(object);
  }

  // Logs every service left in the iterator and keeps a reference to it.
  void drain(io_iterator_t iterator, const std::string& sign) {
    while (const io_service_t service = IOIteratorNext(iterator)) {
      owned.push_back(service);
      log.push_back(sign + std::to_string(numberOf(service)));
    }
  }
  int numberOf(io_service_t service) {
    for (std::size_t i = 0; i < services.size(); ++i) {
      if (services[i] == service) return static_cast<int>(i) + 1;
    }
    services.push_back(service);
    return static_cast<int>(services.size());
  }

  static void published(void* self, io_iterator_t iterator) {
    auto& client = *static_cast<ContractClient*>(self);
    ++client.callbacks;
    if (client.beforeDrain) std::exchange(client.beforeDrain, nullptr)();
    if (client.drains) client.drain(iterator, "+");
    if (client.afterDrain) std::exchange(client.afterDrain, nullptr)();
  }
  static void terminated(void* self, io_iterator_t iterator) {
    auto& client = *static_cast<ContractClient*>(self);
    ++client.callbacks;
    client.drain(iterator, "-");
  }
  static void told(void* self, io_service_t service, natural_t type,
                   std::span<const std::uint8_t> argument) {
    auto& client = *static_cast<ContractClient*>(self);
    ++client.callbacks;
    client.log.push_back("m" + std::to_string(type));
    client.lastService = service;
    client.lastArgument.assign(argument.begin(), argument.end());
    if (client.afterMessage) std::exchange(client.afterMessage, nullptr)();
  }

  bool isReady() const {
    pollfd watched{source->descriptor(), POLLIN, 0};
    return poll(&watched, 1, 0) > 0;
  }

  mach_port_t master = 0;
  IONotificationPortRef port = nullptr;
  CFRunLoopSourceRef source;
  io_iterator_t publishIterator = 0;
  io_iterator_t terminateIterator = 0;
  std::vector<io_object_t> owned;
  std::vector<io_service_t> services;
  std::vector<std::string> log;
  int callbacks = 0;
  bool drains = true;
  std::function<void()> beforeDrain;
  std::function<void()> afterDrain;
  std::function<void()> afterMessage;
  io_service_t lastService = 0;
  ContractWorld::Bytes lastArgument;
};

class DeviceRegistry : public testing::Test {
 protected:
  int publish(const char* className = kClass) { return world_->publish({.className = className}); }
  void arrive() { world_->arrive(); }
  void perform() {
    arrive();
    client_.source->perform();
  }

  // The first present service of the class, with a reference that the client releases.
  io_service_t find(const char* className = kClass) {
    io_iterator_t iterator = 0;
    EXPECT_EQ(IOServiceGetMatchingServices(client_.master, IOServiceMatching(className), &iterator),
              kIOReturnSuccess);
    const io_service_t service = IOIteratorNext(iterator);
    IOObjectRelease(iterator);
    if (service) client_.owned.push_back(service);
    return service;
  }
  io_service_t findPublished(ContractWorld::Device device) {
    world_->publish(std::move(device));
    arrive();
    return find();
  }

  std::unique_ptr<ContractWorld> world_ = makeContractWorld();
  ContractClient client_;
};
