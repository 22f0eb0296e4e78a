// SPDX-License-Identifier: MIT
// Notifications of every device registry: which, in which order, and when.
#include <poll.h>

#include <string>
#include <utility>

#include "platform/device_registry/contract_client.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(DeviceRegistry, APublishIteratorStartsWithThePresentServicesATerminateIteratorEmpty) {
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

TEST_F(DeviceRegistry, AServiceThatIsPublishedCausesOneCallbackAndIsInItsIterator) {
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

TEST_F(DeviceRegistry, ATerminationBringsTheSameHandleAsThePublication) {
  client_.follow();
  const int device = publish();
  publish();
  perform();
  world_->terminate(device);
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2", "-1"));
}

TEST_F(DeviceRegistry, EventsAreReportedInOrderAlsoAcrossIterators) {
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

TEST_F(DeviceRegistry, AnIteratorThatIsNeverDrainedDoesNotHoldBackTheOthers) {
  const io_iterator_t come = client_.add(kIOPublishNotification);
  client_.add(kIOTerminatedNotification);
  client_.drain(come, "+");
  world_->terminate(publish());
  publish();
  perform();
  EXPECT_THAT(client_.log, ElementsAre("+1", "+2"));
  EXPECT_FALSE(client_.isReady());
}

TEST_F(DeviceRegistry, EachOfTwoPortsGetsItsOwnNotifications) {
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

TEST_F(DeviceRegistry, ASourceIsReadyWhileAnEventIsQueuedAndNotAfterItWasPerformed) {
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

TEST_F(DeviceRegistry, ACallbackMayDestroyThePortAndReleaseTheSource) {
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

TEST_F(DeviceRegistry, AMessageArrivesWithItsServiceTypeAndArgument) {
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

TEST_F(DeviceRegistry, AMessageWithoutArgumentArrivesWithoutArgument) {
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

TEST_F(DeviceRegistry, MessagesArriveInOrderAndOnlyFromTheServiceOfTheInterest) {
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

TEST_F(DeviceRegistry, MessagesAndNotificationsArriveInTheOrderOfTheirEvents) {
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

TEST_F(DeviceRegistry, ReleasingAnInterestDropsItsMessagesAlsoQueuedOnes) {
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

}  // namespace
