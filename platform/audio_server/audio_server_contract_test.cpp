// SPDX-License-Identifier: MIT
// What every back end of the audio server seam must do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/audio_server/audio_server.h"
#include "platform/audio_server/contract_fixture.h"
#include "protocol/options.h"

namespace {

using audio_server_contract::Routings;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Routings kRoutings{{{0, 0, 10}, {0, 1, 11}, {1, 0, 12}, {1, 1, 13}, {1, 2, 14}}};

// How long a test waits for an event before it fails.
constexpr auto kLimit = std::chrono::seconds(10);

// Counts the calls of a listener and lets a test wait for them.
class Listener {
 public:
  static OSStatus proc(AudioObjectID object, std::span<const AudioObjectPropertyAddress> addresses,
                       void* clientData) {
    Listener& self = *static_cast<Listener*>(clientData);
    if (self.action) self.action();
    const std::lock_guard lock(self.mutex_);
    self.object_ = object;
    self.addresses_.assign(addresses.begin(), addresses.end());
    self.thread_ = std::this_thread::get_id();
    ++self.calls_;
    self.called_.notify_all();
    return kAudioHardwareNoError;
  }

  int calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  bool waitForMoreThan(int calls) {
    std::unique_lock lock(mutex_);
    return called_.wait_for(lock, kLimit, [&] { return calls_ > calls; });
  }
  AudioObjectID object() const { return object_; }
  const std::vector<AudioObjectPropertyAddress>& addresses() const { return addresses_; }
  std::thread::id thread() const { return thread_; }

  // Called in each call of the listener.
  std::function<void()> action;

 private:
  mutable std::mutex mutex_;
  std::condition_variable called_;
  int calls_ = 0;
  AudioObjectID object_ = 0;
  std::vector<AudioObjectPropertyAddress> addresses_;
  std::thread::id thread_;
};

OSStatus addListener(Listener& listener) {
  return AudioObjectAddPropertyListener(kAudioObjectSystemObject, kDeviceListAddress,
                                        Listener::proc, &listener);
}
OSStatus removeListener(Listener& listener) {
  return AudioObjectRemovePropertyListener(kAudioObjectSystemObject, kDeviceListAddress,
                                           Listener::proc, &listener);
}

std::optional<std::vector<AudioObjectID>> deviceList() {
  std::vector<AudioObjectID> ids(64);
  std::vector<std::uint8_t> bytes(ids.size() * sizeof(AudioObjectID));
  auto size = static_cast<std::uint32_t>(bytes.size());
  if (AudioObjectGetPropertyData(kAudioObjectSystemObject, kDeviceListAddress, &size, bytes) !=
      kAudioHardwareNoError) {
    return std::nullopt;
  }
  std::memcpy(ids.data(), bytes.data(), size);
  ids.resize(size / sizeof(AudioObjectID));
  return ids;
}

// The bytes without the terminating NUL.
std::string deviceName(AudioObjectID device) {
  std::vector<std::uint8_t> bytes(1024);
  auto size = static_cast<std::uint32_t>(bytes.size());
  if (AudioObjectGetPropertyData(device, kDeviceNameAddress, &size, bytes) != kAudioHardwareNoError)
    return "";
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size) - 1};
}

std::vector<std::string> deviceNames() {
  std::vector<std::string> names;
  for (const AudioObjectID id : deviceList().value_or(std::vector<AudioObjectID>{})) {
    names.push_back(deviceName(id));
  }
  return names;
}

using Record = std::array<std::int32_t, 3>;

std::vector<std::uint8_t> toBytes(const Record& record) {
  std::vector<std::uint8_t> bytes(sizeof record);
  std::memcpy(bytes.data(), record.data(), sizeof record);
  return bytes;
}

// Sends the pair as the value, as the panel does.
std::optional<std::int32_t> readRouting(AudioObjectID device, std::int32_t input,
                                        std::int32_t pair) {
  std::vector<std::uint8_t> bytes = toBytes({input, pair, pair});
  auto size = static_cast<std::uint32_t>(bytes.size());
  if (AudioObjectGetPropertyData(device, kRoutingAddress, &size, bytes) != kAudioHardwareNoError) {
    return std::nullopt;
  }
  Record record;
  std::memcpy(record.data(), bytes.data(), sizeof record);
  return record[2];
}

OSStatus writeRouting(AudioObjectID device, const Record& record) {
  return AudioObjectSetPropertyData(device, kRoutingAddress, toBytes(record));
}

class AudioServerContract : public testing::Test {
 protected:
  AudioServerContract() : server_(audio_server_contract::makeServer()) {
    addListener(listener_);
    EXPECT_TRUE(eventually([] { return deviceList().has_value(); }));
  }
  // Leave no listener or device to the next test.
  ~AudioServerContract() override {
    server_->stop();
    EXPECT_TRUE(eventually([] { return !deviceList(); }));
    removeListener(listener_);
  }

  // Waits until the condition holds; it is evaluated after each call of the listener.
  bool eventually(Listener& listener, const std::function<bool()>& condition) {
    for (;;) {
      const int calls = listener.calls();
      server_->deliverNotifications();
      if (condition()) return true;
      if (!listener.waitForMoreThan(calls)) return condition();
    }
  }
  bool eventually(const std::function<bool()>& condition) {
    return eventually(listener_, condition);
  }

  // Waits until the device is listed.
  AudioObjectID find(const std::string& name) {
    AudioObjectID found = 0;
    EXPECT_TRUE(eventually([&] {
      for (const AudioObjectID id : deviceList().value_or(std::vector<AudioObjectID>{})) {
        if (deviceName(id) == name) found = id;
      }
      return found != 0;
    })) << name;
    return found;
  }
  AudioObjectID addDevice(const std::string& name) {
    server_->addDevice(name);
    return find(name);
  }
  AudioObjectID addRoutingDevice(const std::string& name) {
    server_->addRoutingDevice(name, kRoutings);
    return find(name);
  }

  std::unique_ptr<audio_server_contract::Server> server_;
  Listener listener_;
};

TEST_F(AudioServerContract, WithoutDevicesTheListIsEmpty) {
  std::uint32_t size = 99;
  EXPECT_EQ(AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 0u);
  EXPECT_THAT(deviceList().value(), IsEmpty());
}

TEST_F(AudioServerContract, DevicesAreListedInOrderOfAppearance) {
  const AudioObjectID first = addDevice("first");
  const AudioObjectID second = addRoutingDevice("second");
  const AudioObjectID third = addDevice("third");
  EXPECT_THAT(deviceList().value(), ElementsAre(first, second, third));
  std::uint32_t size = 0;
  AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size);
  EXPECT_EQ(size, 12u);
}

TEST_F(AudioServerContract, NoDeviceHasTheId0OrThatOfTheSystemObject) {
  EXPECT_GT(addDevice("device"), kAudioObjectSystemObject);
}

TEST_F(AudioServerContract, TheListIsCutToWholeIds) {
  const AudioObjectID first = addDevice("first");
  addDevice("second");
  std::array<std::uint8_t, 16> bytes;
  bytes.fill(0xAA);
  std::uint32_t size = 7;
  EXPECT_EQ(AudioObjectGetPropertyData(kAudioObjectSystemObject, kDeviceListAddress, &size, bytes),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 4u);
  AudioObjectID id = 0;
  std::memcpy(&id, bytes.data(), sizeof id);
  EXPECT_EQ(id, first);
  EXPECT_EQ(bytes[4], 0xAA);
}

TEST_F(AudioServerContract, ANameIsReadWithItsTerminator) {
  const AudioObjectID device = addDevice("VX-310");
  EXPECT_TRUE(AudioObjectHasProperty(device, kDeviceNameAddress));
  std::uint32_t size = 0;
  EXPECT_EQ(AudioObjectGetPropertyDataSize(device, kDeviceNameAddress, &size),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 7u);
  std::array<std::uint8_t, 128> bytes;
  bytes.fill(0xAA);
  size = 128;
  EXPECT_EQ(AudioObjectGetPropertyData(device, kDeviceNameAddress, &size, bytes),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 7u);
  EXPECT_STREQ(reinterpret_cast<const char*>(bytes.data()), "VX-310");
  EXPECT_EQ(bytes[7], 0xAA);
}

TEST_F(AudioServerContract, ANameThatIsTooLongIsCutAndTerminated) {
  const AudioObjectID device = addDevice(std::string(300, 'x'));
  std::array<std::uint8_t, 128> bytes;
  std::uint32_t size = 128;
  EXPECT_EQ(AudioObjectGetPropertyData(device, kDeviceNameAddress, &size, bytes),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 128u);
  EXPECT_EQ(reinterpret_cast<const char*>(bytes.data()), std::string(127, 'x'));
}

TEST_F(AudioServerContract, ANameMayHoldAnyBytes) { addDevice("\xff\xfe\x01 \xc3\xa4"); }

TEST_F(AudioServerContract, ReadingNoBytesStoresNone) {
  const AudioObjectID device = addDevice("VX-310");
  std::uint32_t size = 0;
  EXPECT_EQ(AudioObjectGetPropertyData(device, kDeviceNameAddress, &size, {}),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 0u);
}

TEST_F(AudioServerContract, ReadingMoreBytesThanTheBufferHoldsFails) {
  const AudioObjectID device = addDevice("VX-310");
  std::array<std::uint8_t, 4> bytes{1, 2, 3, 4};
  std::uint32_t size = 5;
  EXPECT_EQ(AudioObjectGetPropertyData(device, kDeviceNameAddress, &size, bytes),
            kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(size, 5u);
  EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4));
}

TEST_F(AudioServerContract, ObjectsThatDoNotExistHaveNoProperties) {
  for (const AudioObjectID object : {0u, 0x7fffffffu}) {
    EXPECT_FALSE(AudioObjectHasProperty(object, kDeviceNameAddress));
    std::uint32_t size = 3;
    std::array<std::uint8_t, 4> bytes{1, 2, 3, 4};
    EXPECT_EQ(AudioObjectGetPropertyDataSize(object, kDeviceNameAddress, &size),
              kAudioHardwareBadObjectError);
    EXPECT_EQ(AudioObjectGetPropertyData(object, kDeviceNameAddress, &size, bytes),
              kAudioHardwareBadObjectError);
    EXPECT_EQ(AudioObjectSetPropertyData(object, kRoutingAddress, bytes),
              kAudioHardwareBadObjectError);
    EXPECT_EQ(size, 3u);
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4));
  }
}

TEST_F(AudioServerContract, AnAddressThatDiffersInAnyPartIsAnotherProperty) {
  const AudioObjectID device = addDevice("VX-310");
  for (const AudioObjectPropertyAddress& address :
       {globalProperty(fourCharCode("uid ")),
        AudioObjectPropertyAddress{kAudioDevicePropertyDeviceName, fourCharCode("inpt"), 0},
        AudioObjectPropertyAddress{kAudioDevicePropertyDeviceName, kAudioObjectPropertyScopeGlobal,
                                   1},
        kDeviceListAddress}) {
    std::uint32_t size = 3;
    EXPECT_FALSE(AudioObjectHasProperty(device, address));
    EXPECT_EQ(AudioObjectGetPropertyDataSize(device, address, &size),
              kAudioHardwareUnknownPropertyError);
    EXPECT_EQ(size, 3u);
  }
}

TEST_F(AudioServerContract, TheSystemObjectHasTheListAndNoName) {
  EXPECT_TRUE(AudioObjectHasProperty(kAudioObjectSystemObject, kDeviceListAddress));
  EXPECT_FALSE(AudioObjectHasProperty(kAudioObjectSystemObject, kDeviceNameAddress));
}

TEST_F(AudioServerContract, NamesAndTheListCannotBeWritten) {
  const AudioObjectID device = addDevice("VX-310");
  EXPECT_NE(AudioObjectSetPropertyData(device, kDeviceNameAddress, toBytes({1, 2, 3})),
            kAudioHardwareNoError);
  EXPECT_NE(
      AudioObjectSetPropertyData(kAudioObjectSystemObject, kDeviceListAddress, toBytes({1, 2, 3})),
      kAudioHardwareNoError);
  EXPECT_EQ(deviceName(device), "VX-310");
}

TEST_F(AudioServerContract, ADeviceThatLeftIsNotListedAndHasNoName) {
  const AudioObjectID device = addDevice("VX-310");
  const AudioObjectID other = addDevice("other");
  server_->removeDevice("VX-310");
  EXPECT_TRUE(eventually([] { return deviceNames().size() == 1; }));
  EXPECT_THAT(deviceList().value(), ElementsAre(other));
  EXPECT_FALSE(AudioObjectHasProperty(device, kDeviceNameAddress));
}

TEST_F(AudioServerContract, AListenerOfTheDeviceListIsCalledOnAnotherThread) {
  addDevice("VX-310");
  EXPECT_EQ(listener_.object(), kAudioObjectSystemObject);
  EXPECT_THAT(listener_.addresses(), ElementsAre(kDeviceListAddress));
  EXPECT_NE(listener_.thread(), std::this_thread::get_id());
}

TEST_F(AudioServerContract, AListenerMayReadProperties) {
  std::mutex mutex;
  std::vector<std::string> seen;
  Listener reader;
  reader.action = [&] {
    const std::lock_guard lock(mutex);
    seen = deviceNames();
  };
  addListener(reader);
  addDevice("VX-310");
  EXPECT_TRUE(eventually(reader, [&] {
    const std::lock_guard lock(mutex);
    return seen == std::vector<std::string>{"VX-310"};
  }));
  removeListener(reader);
}

TEST_F(AudioServerContract, AListenerAddedTwiceIsCalledOnce) {
  Listener twice;
  EXPECT_EQ(addListener(twice), kAudioHardwareNoError);
  EXPECT_EQ(addListener(twice), kAudioHardwareNoError);
  const int before = listener_.calls();
  addDevice("VX-310");
  Listener barrier;
  // Removing a listener waits for a round of calls that has started.
  removeListener(barrier);
  EXPECT_EQ(twice.calls(), listener_.calls() - before);
  removeListener(twice);
}

TEST_F(AudioServerContract, ARemovedListenerIsNotCalledAgain) {
  Listener removed;
  addListener(removed);
  EXPECT_EQ(removeListener(removed), kAudioHardwareNoError);
  addDevice("VX-310");
  EXPECT_EQ(removed.calls(), 0);
}

TEST_F(AudioServerContract, ClientDataDistinguishesListeners) {
  Listener kept;
  Listener removed;
  addListener(kept);
  addListener(removed);
  removeListener(removed);
  addDevice("VX-310");
  EXPECT_TRUE(eventually([&] { return kept.calls() > 0; }));
  removeListener(kept);
}

TEST_F(AudioServerContract, TheFirstListenerIsCalledForAChangeSinceTheListWasRead) {
  const AudioObjectID routing = addRoutingDevice("Routing");
  removeListener(listener_);
  ASSERT_THAT(deviceNames(), ElementsAre("Routing"));
  const int calls = listener_.calls();

  server_->addDevice("New");
  // A write is confirmed over the connection that announces devices, so after the second
  // confirmation the new device is known.
  ASSERT_EQ(writeRouting(routing, {0, 0, 20}), kAudioHardwareNoError);
  ASSERT_EQ(writeRouting(routing, {0, 0, 21}), kAudioHardwareNoError);

  addListener(listener_);
  server_->deliverNotifications();
  EXPECT_TRUE(listener_.waitForMoreThan(calls));
  EXPECT_THAT(deviceNames(), ElementsAre("Routing", "New"));
}

TEST_F(AudioServerContract, OnlyTheDeviceListCanBeListenedTo) {
  const AudioObjectID device = addDevice("VX-310");
  Listener other;
  EXPECT_NE(AudioObjectAddPropertyListener(device, kDeviceNameAddress, Listener::proc, &other),
            kAudioHardwareNoError);
  EXPECT_NE(AudioObjectAddPropertyListener(kAudioObjectSystemObject, kDeviceNameAddress,
                                           Listener::proc, &other),
            kAudioHardwareNoError);
}

TEST_F(AudioServerContract, OnlyTheDriversDeviceHasTheRoutingProperty) {
  const AudioObjectID plain = addDevice("plain");
  const AudioObjectID driver = addRoutingDevice("VX-310");
  EXPECT_FALSE(AudioObjectHasProperty(plain, kRoutingAddress));
  EXPECT_FALSE(AudioObjectHasProperty(kAudioObjectSystemObject, kRoutingAddress));
  EXPECT_TRUE(AudioObjectHasProperty(driver, kRoutingAddress));
  EXPECT_EQ(readRouting(plain, 1, 1), std::nullopt);
  EXPECT_EQ(writeRouting(plain, {1, 1, 1}), kAudioHardwareUnknownPropertyError);
}

TEST_F(AudioServerContract, TheRoutingPropertyIsOneRecordLong) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  std::uint32_t size = 0;
  EXPECT_EQ(AudioObjectGetPropertyDataSize(device, kRoutingAddress, &size), kAudioHardwareNoError);
  EXPECT_EQ(size, 12u);
}

TEST_F(AudioServerContract, TheRequestNamesTheRoutingToRead) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  EXPECT_EQ(readRouting(device, 0, 0), 10);
  EXPECT_EQ(readRouting(device, 0, 1), 11);
  EXPECT_EQ(readRouting(device, 1, 0), 12);
  EXPECT_EQ(readRouting(device, 1, 1), 13);
  EXPECT_EQ(readRouting(device, 1, 2), 14);
}

TEST_F(AudioServerContract, ARoutingIsCutToTheSizeOfTheRequest) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  std::vector<std::uint8_t> bytes = toBytes({1, 2, 77});
  std::uint32_t size = 8;
  EXPECT_EQ(AudioObjectGetPropertyData(device, kRoutingAddress, &size, bytes),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(bytes, toBytes({1, 2, 77}));
}

TEST_F(AudioServerContract, ARoutingThatDoesNotExistCannotBeRead) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  std::vector<std::uint8_t> bytes = toBytes({1, 3, 77});
  std::uint32_t size = 12;
  EXPECT_NE(AudioObjectGetPropertyData(device, kRoutingAddress, &size, bytes),
            kAudioHardwareNoError);
  EXPECT_EQ(size, 12u);
  EXPECT_EQ(bytes, toBytes({1, 3, 77}));
}

TEST_F(AudioServerContract, AWriteIsReadBackAndChangesNoOtherRouting) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  EXPECT_EQ(writeRouting(device, {1, 1, 3}), kAudioHardwareNoError);
  EXPECT_EQ(readRouting(device, 1, 1), 3);
  EXPECT_EQ(readRouting(device, 0, 1), 11);
  EXPECT_EQ(readRouting(device, 1, 2), 14);
}

TEST_F(AudioServerContract, TheSameValueCanBeWrittenAgain) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  EXPECT_EQ(writeRouting(device, {0, 1, 4}), kAudioHardwareNoError);
  EXPECT_EQ(writeRouting(device, {0, 1, 4}), kAudioHardwareNoError);
  EXPECT_EQ(writeRouting(device, {0, 1, 11}), kAudioHardwareNoError);
  EXPECT_EQ(readRouting(device, 0, 1), 11);
}

TEST_F(AudioServerContract, AWriteOfAnotherSizeThanReportedFails) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  std::vector<std::uint8_t> bytes = toBytes({1, 1, 3});
  bytes.pop_back();
  EXPECT_EQ(AudioObjectSetPropertyData(device, kRoutingAddress, bytes),
            kAudioHardwareBadPropertySizeError);
  bytes.resize(13);
  EXPECT_EQ(AudioObjectSetPropertyData(device, kRoutingAddress, bytes),
            kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(AudioObjectSetPropertyData(device, kRoutingAddress, {}),
            kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(readRouting(device, 1, 1), 13);
}

TEST_F(AudioServerContract, ARefusedWriteFailsInTime) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  server_->refuseWrites("VX-310");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(writeRouting(device, {1, 1, 3}), kAudioHardwareUnspecifiedError);
  // The limit, plus time for a busy machine.
  EXPECT_LT(std::chrono::steady_clock::now() - start,
            std::chrono::milliseconds(kAudioServerCallLimitMs + 500));
  EXPECT_EQ(readRouting(device, 1, 1), 13);
}

TEST_F(AudioServerContract, AWriteToARoutingThatDoesNotExistFails) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  EXPECT_EQ(writeRouting(device, {1, 3, 3}), kAudioHardwareUnspecifiedError);
}

TEST_F(AudioServerContract, WithoutTheServerThereAreNoDevices) {
  const AudioObjectID device = addRoutingDevice("VX-310");
  server_->stop();
  EXPECT_TRUE(eventually([] { return !deviceList(); }));
  std::uint32_t size = 7;
  EXPECT_EQ(AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size),
            kAudioHardwareNotRunningError);
  EXPECT_EQ(size, 7u);
  EXPECT_TRUE(AudioObjectHasProperty(kAudioObjectSystemObject, kDeviceListAddress));
  EXPECT_FALSE(AudioObjectHasProperty(device, kDeviceNameAddress));
  EXPECT_FALSE(AudioObjectHasProperty(device, kRoutingAddress));
  EXPECT_EQ(writeRouting(device, {1, 1, 3}), kAudioHardwareBadObjectError);
}

TEST_F(AudioServerContract, TheListenerIsCalledWhenTheServerLeavesAndReturns) {
  server_->stop();
  EXPECT_TRUE(eventually([] { return !deviceList(); }));
  const int calls = listener_.calls();
  EXPECT_GT(calls, 0);
  server_->start();
  EXPECT_TRUE(eventually([] { return deviceList().has_value(); }));
  EXPECT_TRUE(eventually([&] { return listener_.calls() > calls; }));
}

TEST_F(AudioServerContract, DevicesAndTheirRoutingsComeBackWithTheServer) {
  addDevice("plain");
  addRoutingDevice("VX-310");
  for (int round = 0; round < 2; ++round) {
    server_->stop();
    EXPECT_TRUE(eventually([] { return !deviceList(); }));
    server_->start();
    find("plain");
    const AudioObjectID device = find("VX-310");
    EXPECT_EQ(writeRouting(device, {0, 0, round}), kAudioHardwareNoError);
    EXPECT_EQ(readRouting(device, 0, 0), round);
  }
}

}  // namespace
