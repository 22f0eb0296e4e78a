// SPDX-License-Identifier: MIT
#include "platform/audio_server/memory/memory_audio_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <thread>

namespace {

using memory_audio_server::Call;
using memory_audio_server::kRoutingSelector;
using memory_audio_server::Operation;
using memory_audio_server::RoutingProperty;
using testing::ElementsAre;
using testing::IsEmpty;

struct Listener {
  int calls = 0;
  std::thread::id thread;
  static OSStatus proc(AudioObjectID, std::span<const AudioObjectPropertyAddress>, void* data) {
    auto& self = *static_cast<Listener*>(data);
    ++self.calls;
    self.thread = std::this_thread::get_id();
    return 0;
  }
};

class MemoryAudioServer : public testing::Test {
 protected:
  MemoryAudioServer() {
    memory_audio_server::reset();
    property_.records = memory_audio_server::defaultRecords();
  }

  void listen() {
    AudioObjectAddPropertyListener(kAudioObjectSystemObject, kDeviceListAddress, Listener::proc,
                                   &listener_);
  }

  static OSStatus write(AudioObjectID device, std::size_t size, const RoutingRecord& record) {
    std::vector<std::uint8_t> bytes(std::max(size, sizeof record));
    std::memcpy(bytes.data(), &record, sizeof record);
    bytes.resize(size);
    return AudioObjectSetPropertyData(device, kRoutingAddress, bytes);
  }

  RoutingProperty property_;
  Listener listener_;
};

TEST_F(MemoryAudioServer, IdsAreNotUsedTwice) {
  const AudioObjectID first = memory_audio_server::addDevice("a");
  memory_audio_server::removeDevice(first);
  EXPECT_NE(memory_audio_server::addDevice("a"), first);
}

TEST_F(MemoryAudioServer, AChangeWaitsForItsDelivery) {
  listen();
  memory_audio_server::addDevice("a");
  EXPECT_EQ(listener_.calls, 0);
  memory_audio_server::deliverNotificationsHere();
  EXPECT_EQ(listener_.calls, 1);
  memory_audio_server::deliverNotificationsHere();
  EXPECT_EQ(listener_.calls, 1);
}

TEST_F(MemoryAudioServer, EachChangeIsDeliveredOnce) {
  listen();
  const AudioObjectID device = memory_audio_server::addDevice("a");
  memory_audio_server::removeDevice(device);
  memory_audio_server::removeDevice(device);
  memory_audio_server::stopServer();
  memory_audio_server::stopServer();
  memory_audio_server::startServer();
  memory_audio_server::deliverNotificationsHere();
  EXPECT_EQ(listener_.calls, 4);
}

TEST_F(MemoryAudioServer, TheTestChoosesTheThreadOfTheDelivery) {
  listen();
  memory_audio_server::addDevice("a");
  memory_audio_server::deliverNotificationsHere();
  EXPECT_EQ(listener_.thread, std::this_thread::get_id());
  memory_audio_server::addDevice("b");
  memory_audio_server::deliverNotifications();
  EXPECT_NE(listener_.thread, std::this_thread::get_id());
}

TEST_F(MemoryAudioServer, AScriptedFailureHitsTheNextCallsOfItsKindOnly) {
  const AudioObjectID device = memory_audio_server::addDevice("a");
  memory_audio_server::failNext(Operation::kGetSize, device, kAudioDevicePropertyDeviceName, 7, 2);
  std::uint32_t size = 0;
  EXPECT_EQ(AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size), 0);
  EXPECT_EQ(AudioObjectGetPropertyDataSize(device, kDeviceNameAddress, &size), 7);
  EXPECT_EQ(AudioObjectGetPropertyDataSize(device, kDeviceNameAddress, &size), 7);
  EXPECT_EQ(AudioObjectGetPropertyDataSize(device, kDeviceNameAddress, &size), 0);
  memory_audio_server::failNext(Operation::kSetData, device, kRoutingSelector, 8);
  EXPECT_EQ(write(device, 12, {1, 1, 1}), 8);
}

TEST_F(MemoryAudioServer, AnyReportedSizeIsReadAndWritten) {
  property_.reportedSize = 20;
  const AudioObjectID device = memory_audio_server::addDevice("a", property_);
  EXPECT_EQ(write(device, 20, {1, 2, 3}), kAudioHardwareNoError);
  EXPECT_EQ(memory_audio_server::routingProperty(device)->records[4], (RoutingRecord{1, 2, 3}));
  EXPECT_EQ(write(device, 12, {1, 2, 4}), kAudioHardwareBadPropertySizeError);

  std::array<std::uint8_t, 24> bytes{1, 0, 0, 0, 2};
  std::uint32_t size = 24;
  EXPECT_EQ(AudioObjectGetPropertyData(device, kRoutingAddress, &size, bytes),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 20u);
  EXPECT_EQ(bytes[8], 3);
  EXPECT_EQ(bytes[12], memory_audio_server::kFillByte);
  EXPECT_EQ(bytes[19], memory_audio_server::kFillByte);
  EXPECT_EQ(bytes[20], 0);
}

TEST_F(MemoryAudioServer, AWriteShorterThanARecordChangesNoRecord) {
  property_.reportedSize = 8;
  const AudioObjectID device = memory_audio_server::addDevice("a", property_);
  EXPECT_EQ(write(device, 8, {1, 2, 3}), kAudioHardwareNoError);
  EXPECT_EQ(memory_audio_server::routingProperty(device)->records, property_.records);
}

TEST_F(MemoryAudioServer, TheDriversStatusesAreReturned) {
  property_.sizeStatus = 1;
  property_.readStatus = 2;
  property_.writeStatus = 3;
  const AudioObjectID device = memory_audio_server::addDevice("a", property_);
  std::uint32_t size = 12;
  std::array<std::uint8_t, 12> bytes{};
  EXPECT_EQ(AudioObjectGetPropertyDataSize(device, kRoutingAddress, &size), 1);
  EXPECT_EQ(AudioObjectGetPropertyData(device, kRoutingAddress, &size, bytes), 2);
  EXPECT_EQ(write(device, 12, {1, 2, 3}), 3);
  EXPECT_TRUE(AudioObjectHasProperty(device, kRoutingAddress));
}

TEST_F(MemoryAudioServer, ADeviceWithoutThePropertyHasNoScript) {
  EXPECT_EQ(memory_audio_server::routingProperty(memory_audio_server::addDevice("a")), nullptr);
  EXPECT_EQ(memory_audio_server::routingProperty(3), nullptr);
}

TEST_F(MemoryAudioServer, CallsAreRecordedInOrder) {
  const AudioObjectID device = memory_audio_server::addDevice("a", property_);
  listen();
  AudioObjectHasProperty(device, kRoutingAddress);
  write(device, 12, {1, 1, 2});
  EXPECT_THAT(memory_audio_server::calls(),
              ElementsAre(Call{Operation::kAddListener, kAudioObjectSystemObject,
                               kAudioHardwarePropertyDevices},
                          Call{Operation::kHasProperty, device, kRoutingSelector},
                          Call{Operation::kSetData,
                               device,
                               kRoutingSelector,
                               12,
                               {1, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0}}));
}

TEST_F(MemoryAudioServer, ResetForgetsEverything) {
  memory_audio_server::addDevice("a");
  listen();
  memory_audio_server::stopServer();
  memory_audio_server::reset();
  EXPECT_THAT(memory_audio_server::calls(), IsEmpty());
  std::uint32_t size = 9;
  EXPECT_EQ(AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size), 0);
  EXPECT_EQ(size, 0u);
  memory_audio_server::addDevice("b");
  memory_audio_server::deliverNotificationsHere();
  EXPECT_EQ(listener_.calls, 0);
}

}  // namespace
