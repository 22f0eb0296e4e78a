// SPDX-License-Identifier: MIT
// Notifications of every device registry: when they arrive, and in which order.
#include <poll.h>

#include <string>
#include <utility>

#include "platform/device_registry/contract_client.h"
#include "protocol/dispatch.h"
#include "protocol/services.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(DeviceRegistry, APublishIteratorStartsWithThePresentServicesAndATerminateIteratorEmpty) {
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

TEST_F(DeviceRegistry, APublishedServiceMakesOneCallbackAndIsInItsIterator) {
  client_.follow();
  publish();
  perform();
  EXPECT_EQ(client_.callbacks, 1);
  EXPECT_THAT(client_.log, ElementsAre("+1"));
}

TEST_F(DeviceRegistry, ServicesPublishedTogetherShareOneCallback) {
  client_.follow();
  publish();
  publish();
  perform();
  EXPECT_EQ(client_.callbacks, 1);
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
}

TEST_F(DeviceRegistry, AnIteratorThatIsNotDrainedMakesNoFurtherCallback) {
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

TEST_F(DeviceRegistry, AServicePublishedDuringADrainIsReturnedByIt) {
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

TEST_F(DeviceRegistry, ATerminationHasTheHandleOfThePublication) {
  client_.follow();
  const int device = publish();
  publish();
  perform();
  world_->terminate(device);
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2", "-1"));
}

TEST_F(DeviceRegistry, EventsComeInOrderEvenAcrossIterators) {
  client_.follow();
  const int first = publish();
  perform();
  world_->terminate(first);
  publish();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1", "+2"));
}

TEST_F(DeviceRegistry, AServiceThatLeftBeforeItWasTakenIsSeenByNeitherIterator) {
  client_.follow();
  world_->terminate(publish());
  perform();
  EXPECT_EQ(client_.callbacks, 0);
  world_->terminate(publish());
  publish();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1"));
  EXPECT_EQ(client_.callbacks, 1);
}

TEST_F(DeviceRegistry, AServiceThatLeftBeforeTheFirstDrainIsSeenByNeitherIterator) {
  const int device = publish();
  arrive();
  const io_iterator_t come = client_.add(kIOPublishNotification);
  const io_iterator_t gone = client_.add(kIOTerminatedNotification);
  world_->terminate(device);
  arrive();
  client_.drain(come, "+");
  client_.drain(gone, "-");
  perform();
  EXPECT_THAT(client_.log, IsEmpty());
}

TEST_F(DeviceRegistry, AServiceThatOneIteratorHandedOutIsSeenToTerminate) {
  client_.follow();
  const io_iterator_t late = client_.add(kIOPublishNotification);
  const int device = publish();
  arrive();
  client_.drain(late, "+");
  world_->terminate(device);
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1"));
}

TEST_F(DeviceRegistry, AServiceThatLeftIsMissingInAListOfThePresentOnesThatWasMadeBefore) {
  const int device = publish();
  publish();
  arrive();
  io_iterator_t present = 0;
  ASSERT_EQ(IOServiceGetMatchingServices(client_.master, IOServiceMatching(kClass), &present),
            kIOReturnSuccess);
  world_->terminate(device);
  arrive();
  client_.drain(present, "+");
  EXPECT_THAT(client_.log, ElementsAre("+1"));
  IOObjectRelease(present);
}

TEST_F(DeviceRegistry, ADeviceReplacedDuringADrainTerminatesBeforeItsSuccessorIsPublished) {
  client_.follow();
  const int device = publish();
  client_.afterDrain = [this, device] {
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

TEST_F(DeviceRegistry, ADeviceReplacedBeforeTheFirstDrainTerminatesBeforeItsSuccessorIsPublished) {
  const int device = publish();
  arrive();
  const io_iterator_t come = client_.add(kIOPublishNotification);
  const io_iterator_t gone = client_.add(kIOTerminatedNotification);
  client_.drain(come, "+");
  world_->terminate(device);
  publish();
  arrive();
  client_.drain(gone, "-");
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1", "+2"));
}

TEST_F(DeviceRegistry, AnIteratorThatIsNeverDrainedDoesNotHoldBackTheOthers) {
  const io_iterator_t come = client_.add(kIOPublishNotification);
  client_.add(kIOTerminatedNotification);
  const int device = publish();
  perform();
  client_.drain(come, "+");
  world_->terminate(device);
  publish();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
  EXPECT_FALSE(client_.isReady());
}

TEST_F(DeviceRegistry, EachPortIsNotifiedByItsOwnSource) {
  client_.follow();
  ContractClient other;
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

TEST_F(DeviceRegistry, ASourceIsReadyFromAnEventUntilItIsPerformed) {
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

TEST_F(DeviceRegistry, APortHasOneSource) {
  EXPECT_EQ(IONotificationPortGetRunLoopSource(client_.port), client_.source);
}

TEST_F(DeviceRegistry, CallbacksRunOnlyFromThePortsSource) {
  client_.follow();
  const io_service_t service = findPublished({.className = kClass});
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(service, kDispatchConnectionType, &connection), kIOReturnSuccess);
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
  const int first = publish();
  perform();
  publish();
  perform();
  world_->terminate(first);
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "-1"));
}

TEST_F(DeviceRegistry, ACallbackMayReleaseTheIteratorWhoseTurnIsNext) {
  client_.follow();
  const int device = publish();
  client_.afterDrain = [this, device] {
    world_->terminate(device);
    publish();
    arrive();
    client_.release(client_.terminateIterator);
  };
  perform();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
  EXPECT_FALSE(client_.isReady());
}

TEST_F(DeviceRegistry, ACallbackMayDestroyThePortAndReleaseTheSource) {
  client_.follow();
  const int device = publish();
  client_.afterDrain = [this, device] {
    world_->terminate(device);
    arrive();
    IONotificationPortDestroy(std::exchange(client_.port, nullptr));
    client_.source.reset();
  };
  arrive();
  CFRunLoopSource* source = client_.source.get();
  source->perform();
  EXPECT_THAT(client_.log, ElementsAre("+1"));
}

TEST_F(DeviceRegistry, ADestroyedPortMakesNoCallbacksAndItsIteratorsAreEmpty) {
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
  ASSERT_EQ(IOServiceOpen(service, kDispatchConnectionType, &connection), kIOReturnSuccess);
  IOReturn closed = kIOReturnError;
  client_.afterDrain = [&] { closed = IOServiceClose(connection); };
  perform();
  EXPECT_EQ(closed, kIOReturnSuccess);
}

TEST_F(DeviceRegistry, AMessageHasItsServiceTypeAndArgument) {
  const int device = publish();
  arrive();
  const io_service_t service = find();
  const io_object_t interest = client_.addInterest(service);
  world_->sendMessage(device, kDriverMessage, {36, 0, 0, 0, kDigitalInputChanged});
  perform();
  EXPECT_THAT(client_.log, ElementsAre("m" + std::to_string(kDriverMessage)));
  EXPECT_EQ(client_.lastService, service);
  EXPECT_THAT(client_.lastArgument, ElementsAre(36, 0, 0, 0, kDigitalInputChanged));
  client_.release(interest);
}

TEST_F(DeviceRegistry, AMessageWithoutArgumentHasAnEmptyArgument) {
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

TEST_F(DeviceRegistry, MessagesComeInOrderAndOnlyFromTheInterestsService) {
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

TEST_F(DeviceRegistry, AMessageLikeOneThatStillWaitsIsDropped) {
  const int device = publish();
  arrive();
  const io_object_t interest = client_.addInterest(find());
  const auto send = [&](std::uint8_t number, std::uint8_t rest) {
    world_->sendMessage(device, kDriverMessage, {36, 0, 0, 0, number, 0, 0, 0, rest});
  };
  send(kStateChanged, 0);
  send(kDigitalInputChanged, 1);
  send(kStateChanged, 2);
  world_->sendMessage(device, kDriverMessage, {36, 0, 0, 0, kStateChanged, 0, 0, 0});
  world_->sendMessage(device, 1, {36, 0, 0, 0, kStateChanged, 0, 0, 0, 3});
  perform();
  const std::string message = "m" + std::to_string(kDriverMessage);
  EXPECT_THAT(client_.log, ElementsAre(message, message, message, "m1"));
  send(kStateChanged, 4);  // nothing waits any more
  perform();
  EXPECT_THAT(client_.lastArgument, ElementsAre(36, 0, 0, 0, kStateChanged, 0, 0, 0, 4));
  client_.release(interest);
}

TEST_F(DeviceRegistry, OfTooManyMessagesThatWaitTheOldestAreDropped) {
  constexpr std::uint32_t kKept = 4096;
  const int device = publish();
  arrive();
  const io_object_t interest = client_.addInterest(find());
  for (std::uint32_t type = 1; type <= kKept + 10; ++type) {
    world_->sendMessage(device, type, {});
    if (type % 500 == 0) arrive();  // the transport's own buffers have limits, too
  }
  while (perform(), client_.isReady()) {
  }
  ASSERT_EQ(client_.log.size(), kKept);
  EXPECT_EQ(client_.log.front(), "m11");
  client_.release(interest);
}

TEST_F(DeviceRegistry, MessagesAndNotificationsComeInTheOrderOfTheirEvents) {
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

TEST_F(DeviceRegistry, AReleasedInterestGetsNoMessagesNotEvenQueuedOnes) {
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

TEST_F(DeviceRegistry, AServiceHandleIsValidInAnInterestsCallback) {
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

}  // namespace
