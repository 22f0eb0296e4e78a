// What every device registry does. Each back end's test program compiles this suite and brings the
// drivers (contract_world.h).
#include "platform/device_registry/device_registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/device_registry/contract_world.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = ContractWorld::Bytes;

constexpr const char* kClass = "TestInterface";
constexpr const char* kOtherClass = "OtherInterface";

// A client with one notification port. It writes down what it is told, in order: "+" and "-" with
// the number that it gave a service when it first saw it, "m" and the type for a message.
class Client {
 public:
  Client() {
    EXPECT_EQ(IOMasterPort(&master), kIOReturnSuccess);
    EXPECT_NE(master, 0u);
    port = IONotificationPortCreate(master);
    source = IONotificationPortGetRunLoopSource(port);
    EXPECT_NE(source, nullptr);
  }
  ~Client() {
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
  // Armed notifications of both kinds; the services there already count as seen.
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

  // Keeps a reference to every service that it sees.
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
    auto& client = *static_cast<Client*>(self);
    ++client.callbacks;
    if (client.beforeDrain) std::exchange(client.beforeDrain, nullptr)();
    if (client.drains) client.drain(iterator, "+");
    if (client.afterDrain) std::exchange(client.afterDrain, nullptr)();
  }
  static void terminated(void* self, io_iterator_t iterator) {
    auto& client = *static_cast<Client*>(self);
    ++client.callbacks;
    client.drain(iterator, "-");
  }
  static void told(void* self, io_service_t service, natural_t type,
                   std::span<const std::uint8_t> argument) {
    auto& client = *static_cast<Client*>(self);
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
  Bytes lastArgument;
};

class DeviceRegistry : public testing::Test {
 protected:
  int publish(const char* className = kClass) { return world_->publish({.className = className}); }
  void arrive() { world_->arrive(); }
  void perform() {
    arrive();
    client_.source->perform();
  }

  // The first present service of the class, with a reference that the client gives back.
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
  Client client_;
};

TEST_F(DeviceRegistry, ZeroNamesNothing) {
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
  EXPECT_NE(IOServiceOpen(0, 2, &object), kIOReturnSuccess);
  EXPECT_EQ(object, 0u);
  EXPECT_NE(IOServiceClose(0), kIOReturnSuccess);
  EXPECT_NE(IOConnectMethodStructureIStructureO(0, 0, {}, {}, &size), kIOReturnSuccess);
  EXPECT_EQ(IOIteratorNext(0), 0u);
  IOObjectRetain(0);
  IOObjectRelease(0);
  IONotificationPortDestroy(nullptr);
  mach_port_deallocate(0);
}

TEST_F(DeviceRegistry, AnObjectOfAnotherKindIsTakenForNothing) {
  publish();
  arrive();
  const io_service_t service = find();
  io_object_t object = 0;
  EXPECT_EQ(IOIteratorNext(service), 0u);
  EXPECT_NE(IOServiceOpen(client_.add(kIOPublishNotification), 2, &object), kIOReturnSuccess);
  EXPECT_NE(IOServiceClose(service), kIOReturnSuccess);
  EXPECT_EQ(IONotificationPortCreate(service), nullptr);
}

TEST_F(DeviceRegistry, AnEmptyClassNameMatchesNothingAndIsRefused) {
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

TEST_F(DeviceRegistry, ThereMayBeSeveralMasterPortsAndTheLastOneEndsAllButGivingBack) {
  publish();
  arrive();
  const io_service_t service = find();
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(service, 2, &connection), kIOReturnSuccess);
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
  EXPECT_NE(IOServiceOpen(service, 2, &object), kIOReturnSuccess);
  EXPECT_NE(IOServiceGetMatchingServices(second, IOServiceMatching(kClass), &object),
            kIOReturnSuccess);
  EXPECT_NE(IOServiceAddMatchingNotification(client_.port, kIOPublishNotification,
                                             IOServiceMatching(kClass), nullptr, nullptr, &object),
            kIOReturnSuccess);
  EXPECT_NE(IOConnectMethodStructureIStructureO(connection, 0, {}, {}, &size), kIOReturnSuccess);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
}

TEST_F(DeviceRegistry, ItCanBeOpenedAgainAndListsTheServicesThatAreThere) {
  publish();
  arrive();
  mach_port_deallocate(client_.master);
  ASSERT_EQ(IOMasterPort(&client_.master), kIOReturnSuccess);
  arrive();
  EXPECT_NE(find(), 0u);
}

TEST_F(DeviceRegistry, MatchingListsThePresentServicesOfTheClassAndNoOthers) {
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

TEST_F(DeviceRegistry, MatchingNothingIsAnEmptyIteratorAndNoFailure) {
  io_iterator_t iterator = 0;
  EXPECT_EQ(IOServiceGetMatchingServices(client_.master, IOServiceMatching(kClass), &iterator),
            kIOReturnSuccess);
  EXPECT_NE(iterator, 0u);
  EXPECT_EQ(IOIteratorNext(iterator), 0u);
  client_.owned.push_back(iterator);
}

TEST_F(DeviceRegistry, APublishNotificationBeginsWithTheServicesPresentATerminateOneWithNone) {
  publish();
  publish();
  publish(kOtherClass);
  arrive();
  client_.follow();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
}

TEST_F(DeviceRegistry, ANotificationThatWasNeverDrainedMakesNoCallback) {
  const io_iterator_t iterator = client_.add(kIOPublishNotification);
  publish();
  perform();
  EXPECT_EQ(client_.callbacks, 0);
  client_.drain(iterator, "+");
  EXPECT_THAT(client_.log, ElementsAre("+1"));
}

TEST_F(DeviceRegistry, AServiceThatComesMakesOneCallbackAndIsInItsIterator) {
  client_.follow();
  publish();
  perform();
  EXPECT_EQ(client_.callbacks, 1);
  EXPECT_THAT(client_.log, ElementsAre("+1"));
}

TEST_F(DeviceRegistry, ServicesThatCameTogetherShareOneCallback) {
  client_.follow();
  publish();
  publish();
  perform();
  EXPECT_EQ(client_.callbacks, 1);
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
}

TEST_F(DeviceRegistry, UntilItIsDrainedAgainANotificationMakesNoFurtherCallback) {
  client_.follow();
  client_.drains = false;
  publish();
  perform();
  publish();
  perform();
  EXPECT_EQ(client_.callbacks, 1);
  EXPECT_FALSE(client_.isReady());
  client_.drains = true;
  client_.drain(client_.publishIterator, "+");
  publish();
  perform();
  EXPECT_EQ(client_.callbacks, 2);
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2", "+3"));
}

TEST_F(DeviceRegistry, AServiceThatComesBeforeTheDrainEndsIsReturnedByIt) {
  client_.follow();
  client_.beforeDrain = [this] {
    publish();
    arrive();
  };
  publish();
  perform();
  EXPECT_EQ(client_.callbacks, 1);
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
}

TEST_F(DeviceRegistry, ServicesOfAnotherClassMakeNoCallback) {
  client_.follow();
  world_->terminate(publish(kOtherClass));
  publish("");
  perform();
  EXPECT_EQ(client_.callbacks, 0);
}

TEST_F(DeviceRegistry, ATerminationBringsTheSameHandleAsThePublication) {
  client_.follow();
  const int device = publish();
  publish();
  perform();
  world_->terminate(device);
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2", "-1"));
}

TEST_F(DeviceRegistry, WhatHappenedFirstIsSeenFirstAlsoAcrossIterators) {
  client_.follow();
  world_->terminate(publish());
  world_->terminate(publish());
  publish();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1", "+2", "-2", "+3"));
}

TEST_F(DeviceRegistry, ADeviceThatIsReplacedDuringADrainGoesBeforeItsSuccessorComes) {
  client_.follow();
  const int device = publish();
  client_.beforeDrain = [this, device] {
    world_->terminate(device);
    publish();
    arrive();
  };
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1"));
  EXPECT_TRUE(client_.isReady());
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1", "+2"));
}

TEST_F(DeviceRegistry, ADeviceThatIsReplacedBeforeTheFirstDrainGoesBeforeItsSuccessorComes) {
  const int device = publish();
  arrive();
  const io_iterator_t come = client_.add(kIOPublishNotification);
  const io_iterator_t gone = client_.add(kIOTerminatedNotification);
  world_->terminate(device);
  publish();
  arrive();
  client_.drain(come, "+");
  client_.drain(gone, "-");
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1", "+2"));
}

TEST_F(DeviceRegistry, AnIteratorThatIsLeftAloneDoesNotHoldBackTheOthers) {
  const io_iterator_t come = client_.add(kIOPublishNotification);
  client_.add(kIOTerminatedNotification);
  client_.drain(come, "+");
  world_->terminate(publish());
  publish();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
  EXPECT_FALSE(client_.isReady());
}

TEST_F(DeviceRegistry, TwoPortsAreToldEachOnItsOwn) {
  client_.follow();
  Client other;
  other.follow();
  publish();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1"));
  EXPECT_THAT(other.log, IsEmpty());
  EXPECT_TRUE(other.isReady());
  other.source->perform();
  EXPECT_THAT(other.log, ElementsAre("+1"));
  EXPECT_EQ(other.services, client_.services);
}

TEST_F(DeviceRegistry, EveryIteratorNamesAServiceByTheSameHandle) {
  publish();
  arrive();
  const io_service_t service = find();
  client_.follow();
  EXPECT_EQ(client_.services, std::vector{service});
  EXPECT_EQ(find(), service);
}

TEST_F(DeviceRegistry, AHandleThatIsHeldIsNotUsedForAnotherService) {
  client_.follow();
  for (int i = 0; i < 3; ++i) {
    world_->terminate(publish());
    perform();
  }
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1", "+2", "-2", "+3", "-3"));
}

TEST_F(DeviceRegistry, AReferenceMoreKeepsAHandleAfterOneIsReleased) {
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
  ASSERT_EQ(IOServiceOpen(service, 2, &connection), kIOReturnSuccess);
  world_->terminate(device);
  perform();
  CFDictionary properties{{"kept", 1}};
  io_object_t object = 1;
  std::array<std::uint8_t, 4> output{};
  std::size_t size = 9;
  EXPECT_EQ(IORegistryEntryCreateCFProperties(service, &properties), kIOReturnNoDevice);
  EXPECT_EQ(properties, (CFDictionary{{"kept", 1}}));
  EXPECT_EQ(IOServiceOpen(service, 2, &object), kIOReturnNoDevice);
  EXPECT_EQ(object, 0u);
  EXPECT_EQ(IOConnectMethodStructureIStructureO(connection, 0, output, output, &size),
            kIOReturnNoDevice);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnSuccess);
}

TEST_F(DeviceRegistry, ASourceIsReadyWhileSomethingIsQueuedAndNotAfterItWasPerformed) {
  client_.follow();
  arrive();
  client_.source->perform();
  EXPECT_FALSE(client_.isReady());
  publish();
  arrive();
  EXPECT_TRUE(client_.isReady());
  client_.source->perform();
  EXPECT_FALSE(client_.isReady());
}

TEST_F(DeviceRegistry, ThePortsSourceIsTheSameAtEveryCall) {
  EXPECT_EQ(IONotificationPortGetRunLoopSource(client_.port), client_.source);
}

TEST_F(DeviceRegistry, CallbacksRunFromThePortsSourceOnly) {
  client_.follow();
  const io_service_t service = findPublished({.className = kClass});
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(service, 2, &connection), kIOReturnSuccess);
  world_->terminate(publish());
  CFDictionary properties;
  std::array<std::uint8_t, 4> output{};
  std::size_t size = 0;
  IORegistryEntryCreateCFProperties(service, &properties);
  IOConnectMethodStructureIStructureO(connection, 0, output, output, &size);
  arrive();
  IOIteratorNext(client_.terminateIterator);
  IOServiceClose(connection);
  EXPECT_EQ(client_.callbacks, 0);
  EXPECT_TRUE(client_.isReady());
}

TEST_F(DeviceRegistry, ACallbackMayReleaseItsIterator) {
  client_.follow();
  client_.afterDrain = [this] { client_.release(client_.publishIterator); };
  publish();
  perform();
  const int last = publish();
  perform();
  world_->terminate(last);
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "-2"));
}

TEST_F(DeviceRegistry, ACallbackMayReleaseTheIteratorWhoseTurnIsNext) {
  client_.follow();
  client_.afterDrain = [this] { client_.release(client_.terminateIterator); };
  world_->terminate(publish());
  publish();
  perform();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
  EXPECT_FALSE(client_.isReady());
}

TEST_F(DeviceRegistry, ACallbackMayDestroyThePortAndLetGoOfTheSource) {
  client_.follow();
  client_.afterDrain = [this] {
    IONotificationPortDestroy(std::exchange(client_.port, nullptr));
    client_.source.reset();
  };
  world_->terminate(publish());
  arrive();
  CFRunLoopSource* source = client_.source.get();
  source->perform();
  EXPECT_THAT(client_.log, ElementsAre("+1"));
}

TEST_F(DeviceRegistry, ADestroyedPortsSourceAndIteratorsAreQuiet) {
  client_.follow();
  publish();
  arrive();
  IONotificationPortDestroy(std::exchange(client_.port, nullptr));
  EXPECT_FALSE(client_.isReady());
  client_.source->perform();
  EXPECT_EQ(client_.callbacks, 0);
  EXPECT_EQ(IOIteratorNext(client_.publishIterator), 0u);
  publish();
  perform();
  EXPECT_FALSE(client_.isReady());
  EXPECT_EQ(client_.callbacks, 0);
}

TEST_F(DeviceRegistry, ACallbackMayCloseConnections) {
  client_.follow();
  const io_service_t service = findPublished({.className = kClass});
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(service, 2, &connection), kIOReturnSuccess);
  IOReturn closed = kIOReturnError;
  client_.afterDrain = [&] { closed = IOServiceClose(connection); };
  perform();
  EXPECT_EQ(closed, kIOReturnSuccess);
}

TEST_F(DeviceRegistry, AMessageComesWithItsServiceTypeAndArgument) {
  const int device = publish();
  arrive();
  const io_service_t service = find();
  const io_object_t interest = client_.addInterest(service);
  world_->sendMessage(device, 0xe0000130, {36, 0, 0, 0, 49});
  perform();
  EXPECT_THAT(client_.log, ElementsAre("m3758096688"));
  EXPECT_EQ(client_.lastService, service);
  EXPECT_THAT(client_.lastArgument, ElementsAre(36, 0, 0, 0, 49));
  client_.release(interest);
}

TEST_F(DeviceRegistry, AMessageWithoutArgumentComesWithoutArgument) {
  const int device = publish();
  arrive();
  const io_object_t interest = client_.addInterest(find());
  client_.lastArgument = {1};
  world_->sendMessage(device, 7, {});
  perform();
  EXPECT_THAT(client_.log, ElementsAre("m7"));
  EXPECT_THAT(client_.lastArgument, IsEmpty());
  client_.release(interest);
}

TEST_F(DeviceRegistry, MessagesComeInOrderAndFromTheServiceAskedForOnly) {
  const int device = publish();
  const int other = publish(kOtherClass);
  arrive();
  const io_object_t interest = client_.addInterest(find());
  world_->sendMessage(device, 1, {});
  world_->sendMessage(other, 2, {});
  world_->sendMessage(device, 3, {});
  perform();
  EXPECT_THAT(client_.log, ElementsAre("m1", "m3"));
  client_.release(interest);
}

TEST_F(DeviceRegistry, MessagesAndNotificationsComeInTheOrderInWhichTheyHappened) {
  client_.follow();
  const int device = publish();
  perform();
  const io_object_t interest = client_.addInterest(client_.services.front());
  world_->sendMessage(device, 1, {});
  publish();
  world_->sendMessage(device, 2, {});
  world_->terminate(device);
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "m1", "+2", "m2", "-1"));
  client_.release(interest);
}

TEST_F(DeviceRegistry, EveryInterestInAServiceGetsItsMessages) {
  const int device = publish();
  arrive();
  const io_service_t service = find();
  const io_object_t first = client_.addInterest(service);
  const io_object_t second = client_.addInterest(service);
  world_->sendMessage(device, 1, {});
  perform();
  EXPECT_THAT(client_.log, ElementsAre("m1", "m1"));
  client_.release(first);
  client_.release(second);
}

TEST_F(DeviceRegistry, AfterAnInterestIsReleasedItsMessagesAreNotToldNotEvenThoseQueued) {
  const int device = publish();
  arrive();
  const io_object_t interest = client_.addInterest(find());
  client_.afterMessage = [&] { client_.release(interest); };
  world_->sendMessage(device, 1, {});
  world_->sendMessage(device, 2, {});
  perform();
  world_->sendMessage(device, 3, {});
  perform();
  EXPECT_THAT(client_.log, ElementsAre("m1"));
  EXPECT_FALSE(client_.isReady());
}

TEST_F(DeviceRegistry, AnInterestKeepsItsServicesHandleAliveForTheCallback) {
  const int device = publish();
  arrive();
  const io_service_t service = find();
  const io_object_t interest = client_.addInterest(service);
  client_.release(service);
  CFDictionary properties;
  IOReturn result = kIOReturnError;
  client_.afterMessage = [&] {
    result = IORegistryEntryCreateCFProperties(client_.lastService, &properties);
  };
  world_->sendMessage(device, 1, {});
  perform();
  EXPECT_EQ(result, kIOReturnSuccess);
  client_.release(interest);
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

// Requests to one scripted device over one connection.
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

TEST_F(DeviceRegistryRequests, AShorterAnswerLeavesTheRestOfTheOutputAsItWas) {
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

TEST_F(DeviceRegistryRequests, ALongerAnswerIsAnOverrunStoresNothingAndSpoilsNothing) {
  bool isLong = true;
  connect([&](auto, const Bytes& request) {
    return std::exchange(isLong, false) ? Bytes(5, 1) : request;
  });
  EXPECT_EQ(send({1}), kIOReturnOverrun);
  EXPECT_THAT(output_, ElementsAre(9, 9, 9, 9));
  EXPECT_EQ(send({2}), kIOReturnSuccess);
  EXPECT_THAT(output_, ElementsAre(2, 9, 9, 9));
}

TEST_F(DeviceRegistryRequests, WithoutAnAnswerTheCallTimesOutAndTheNextIsAnsweredForItself) {
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

TEST_F(DeviceRegistryRequests, AClosedConnectionNamesNothing) {
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

TEST_F(DeviceRegistryRequests, WhatComesDuringACallIsQueuedAndTheSourceIsReady) {
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
