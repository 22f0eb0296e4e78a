// SPDX-License-Identifier: MIT
// The PipeWire back end of the audio server seam, beyond the contract. The back end starts once per
// process; each test stops its server at the end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "driver/audio_node/audio_node.h"
#include "platform/audio_server/audio_server.h"
#include "platform/audio_server/pipewire/client.h"
#include "platform/driver_waits/driver_waits.h"
#include "tests/audio_server/driver_node.h"
#include "tests/audio_server/graph_client.h"
#include "tests/support/pipewire_server.h"

namespace {

using pipewire_test::DriverNode;
using pipewire_test::GraphClient;
using testing::ElementsAre;
using Clock = std::chrono::steady_clock;

constexpr auto kLimit = std::chrono::seconds(10);
// The seam's limit, plus time for a busy machine.
constexpr auto kCallLimit = std::chrono::milliseconds(kAudioServerCallLimitMs + 500);
constexpr RoutingRecords kRecords{{{0, 0, 10}, {0, 1, 11}, {1, 0, 12}, {1, 1, 13}, {1, 2, 14}}};

test_support::PipeWireServer& server() {
  static test_support::PipeWireServer privateServer;
  return privateServer;
}

std::string nameOf(AudioObjectID device) {
  std::array<std::uint8_t, 128> bytes{};
  std::uint32_t size = bytes.size();
  AudioObjectGetPropertyData(device, kDeviceNameAddress, &size, bytes);
  return reinterpret_cast<const char*>(bytes.data());
}

// The ids and names in order; nullopt while the server is not running.
using Devices = std::vector<std::pair<AudioObjectID, std::string>>;
std::optional<Devices> devices() {
  std::array<std::uint8_t, 256> bytes{};
  std::uint32_t size = bytes.size();
  if (AudioObjectGetPropertyData(kAudioObjectSystemObject, kDeviceListAddress, &size, bytes) !=
      kAudioHardwareNoError) {
    return std::nullopt;
  }
  Devices result;
  for (std::size_t i = 0; i < size; i += sizeof(AudioObjectID)) {
    AudioObjectID id = 0;
    std::memcpy(&id, bytes.data() + i, sizeof id);
    result.emplace_back(id, nameOf(id));
  }
  return result;
}

OSStatus writeRouting(AudioObjectID device, std::uint32_t input, std::int32_t pair,
                      std::int32_t value) {
  const RoutingRecord record{input, pair, value};
  std::array<std::uint8_t, sizeof record> bytes;
  std::memcpy(bytes.data(), &record, sizeof record);
  return AudioObjectSetPropertyData(device, kRoutingAddress, bytes);
}

std::optional<std::int32_t> readRouting(AudioObjectID device, std::uint32_t input,
                                        std::int32_t pair) {
  RoutingRecord record{input, pair, pair};
  std::array<std::uint8_t, sizeof record> bytes;
  std::memcpy(bytes.data(), &record, sizeof record);
  std::uint32_t size = bytes.size();
  if (AudioObjectGetPropertyData(device, kRoutingAddress, &size, bytes) != kAudioHardwareNoError) {
    return std::nullopt;
  }
  std::memcpy(&record, bytes.data(), sizeof record);
  return record.value;
}

class PipeWireAudioServer : public testing::Test {
 protected:
  // Set PipeWire's environment variables before the back end connects.
  PipeWireAudioServer() {
    driverWaits().renew();  // no run loop does
    server();
  }
  ~PipeWireAudioServer() override {
    graph_.reset();
    server().stop();
    // Leave no listener or device to the next test.
    EXPECT_TRUE(eventually([] { return !devices(); }));
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, kDeviceListAddress, listChanged,
                                      this);
  }

  void listen() {
    AudioObjectAddPropertyListener(kAudioObjectSystemObject, kDeviceListAddress, listChanged, this);
  }

  void startServer() {
    ASSERT_TRUE(server().start());
    graph_.emplace();
    listen();
    ASSERT_TRUE(eventually([] { return devices().has_value(); }));
  }

  // Waits until the condition holds; it is evaluated after each change of the device list.
  bool eventually(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex_);
    for (;;) {
      const int changes = changes_;
      lock.unlock();
      if (condition()) return true;
      lock.lock();
      if (!changed_.wait_for(lock, kLimit, [&] { return changes_ > changes; })) return false;
    }
  }

  AudioObjectID find(const std::string& name) {
    AudioObjectID found = 0;
    EXPECT_TRUE(eventually([&] {
      const auto list = devices();
      for (const auto& [id, deviceName] : list.value_or(Devices{})) {
        if (deviceName == name) found = id;
      }
      return found != 0;
    })) << name;
    return found;
  }

  std::optional<GraphClient> graph_;
  std::function<void()> onChange_;  // on the notification thread; set it before listening

 private:
  static OSStatus listChanged(AudioObjectID, std::span<const AudioObjectPropertyAddress>,
                              void* data) {
    auto& self = *static_cast<PipeWireAudioServer*>(data);
    if (self.onChange_) self.onChange_();
    const std::lock_guard lock(self.mutex_);
    ++self.changes_;
    self.changed_.notify_all();
    return 0;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  int changes_ = 0;
};

// The two tests of the first connection come first, so that they see it also when one process runs
// all tests.
TEST_F(PipeWireAudioServer, AServerThatDoesNotAnswerDelaysTheFirstCallByNoMoreThanTheLimit) {
  ASSERT_TRUE(server().start());
  server().suspend();
  const auto start = Clock::now();
  devices();
  EXPECT_LT(Clock::now() - start, kCallLimit);
  server().resume();
  listen();
  EXPECT_TRUE(eventually([] { return devices().has_value(); }));
}

TEST_F(PipeWireAudioServer, WithoutAServerNoCallWaits) {
  const auto start = Clock::now();
  listen();
  EXPECT_TRUE(eventually([] { return !devices().has_value(); }));
  EXPECT_LT(Clock::now() - start, kCallLimit);
  ASSERT_TRUE(server().start());
  EXPECT_TRUE(eventually([] { return devices().has_value(); }));
}

TEST_F(PipeWireAudioServer, AKilledServerIsFoundAgainWhenItReturns) {
  startServer();
  for (int round = 0; round < 3; ++round) {
    graph_.reset();
    server().kill();
    EXPECT_TRUE(eventually([] { return !devices(); }));
    ASSERT_TRUE(server().start());
    EXPECT_TRUE(eventually([] { return devices().has_value(); }));
  }
}

TEST_F(PipeWireAudioServer, ADeviceIsNamedByItsDescriptionThenItsNickThenItsName) {
  startServer();
  graph_->addDevice({{"media.class", "Audio/Sink"},
                     {"node.name", "one"},
                     {"node.nick", "nick"},
                     {"node.description", "description"}});
  find("description");
  graph_->addDevice(
      {{"media.class", "Audio/Source"}, {"node.name", "two"}, {"node.nick", "other nick"}});
  find("other nick");
  graph_->addDevice({{"media.class", "Audio/Duplex"}, {"node.name", "three"}});
  find("three");
}

TEST_F(PipeWireAudioServer, OnlyAudioDevicesAreListed) {
  startServer();
  graph_->addDevice({{"media.class", "Video/Source"}, {"node.name", "camera"}});
  graph_->addDevice({{"media.class", "Stream/Output/Audio"}, {"node.name", "player"}});
  graph_->addDevice({{"media.class", "Midi/Bridge"}, {"node.name", "keys"}});
  graph_->addDevice({{"media.class", "Audio/Sink"}, {"node.name", "speaker"}});
  const AudioObjectID speaker = find("speaker");
  EXPECT_THAT(devices().value(), ElementsAre(std::pair(speaker, std::string("speaker"))));
}

TEST_F(PipeWireAudioServer, IdsAreThoseOfTheServer) {
  startServer();
  graph_->addDevice({{"media.class", "Audio/Sink"}, {"node.name", "n"}, {"node.description", "d"}});
  const AudioObjectID device = find("d");
  EXPECT_TRUE(graph_->waitFor([&] { return graph_->findNode("d") == device; }, kLimit));
}

TEST_F(PipeWireAudioServer, AListenerSeesANewDeviceWithItsNameAndRoutings) {
  std::mutex mutex;
  std::vector<std::optional<std::int32_t>> seen;
  onChange_ = [&] {
    const auto list = devices();
    for (const auto& [id, name] : list.value_or(Devices{})) {
      if (name != "VX-310") continue;
      const std::lock_guard lock(mutex);
      seen.push_back(readRouting(id, 1, 1));
    }
  };
  startServer();
  DriverNode node("VX-310", kRecords);
  EXPECT_TRUE(eventually([&] {
    const std::lock_guard lock(mutex);
    return !seen.empty();
  }));
  const std::lock_guard lock(mutex);
  EXPECT_THAT(seen, ElementsAre(13));
}

TEST_F(PipeWireAudioServer, AWriteOnTheNotificationThreadFailsAtOnce) {
  struct Outcome {
    OSStatus status;
    Clock::duration time;
  };
  std::promise<Outcome> tried;
  bool done = false;
  onChange_ = [&] {
    const auto list = devices();
    for (const auto& [id, name] : list.value_or(Devices{})) {
      if (name != "VX-310" || std::exchange(done, true)) continue;
      const auto start = Clock::now();
      const OSStatus status = writeRouting(id, 1, 1, 3);
      tried.set_value({status, Clock::now() - start});
    }
  };
  startServer();
  DriverNode node("VX-310", kRecords);
  auto future = tried.get_future();
  ASSERT_EQ(future.wait_for(kLimit), std::future_status::ready);
  const Outcome outcome = future.get();
  EXPECT_EQ(outcome.status, kAudioHardwareUnspecifiedError);
  EXPECT_LT(outcome.time, std::chrono::milliseconds(kAudioServerCallLimitMs));
  // The notification thread still works.
  EXPECT_EQ(writeRouting(find("VX-310"), 1, 1, 3), kAudioHardwareNoError);
}

TEST_F(PipeWireAudioServer, ADriverThatDoesNotAnswerDelaysAWriteByNoMoreThanTheLimit) {
  startServer();
  driver::AudioGraph graph;
  bool present = false;
  const driver::AudioNode node(graph, {"VX-310", "vx310", "/object"}, {},
                               {{}, [&](bool nowPresent) { present = nowPresent; }});
  while (!present) {
    pollfd event{graph.descriptor(), POLLIN, 0};
    ASSERT_GT(::poll(&event, 1, 10'000), 0);
    graph.dispatch();
  }
  const AudioObjectID device = find("VX-310");
  const auto start = Clock::now();
  EXPECT_EQ(writeRouting(device, 1, 1, 3), kAudioHardwareUnspecifiedError);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(kAudioServerCallLimitMs));
  EXPECT_LT(Clock::now() - start, kCallLimit);
}

TEST_F(PipeWireAudioServer, AHungServerDoesNotDelayReadsAndDelaysWritesByTheLimit) {
  startServer();
  DriverNode node("VX-310", kRecords);
  const AudioObjectID device = find("VX-310");
  server().suspend();
  const auto start = Clock::now();
  EXPECT_EQ(readRouting(device, 1, 1), 13);
  EXPECT_EQ(nameOf(device), "VX-310");
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(100));
  EXPECT_EQ(writeRouting(device, 1, 1, 3), kAudioHardwareUnspecifiedError);
  EXPECT_LT(Clock::now() - start, kCallLimit);
  server().resume();
  EXPECT_EQ(writeRouting(device, 1, 2, 2), kAudioHardwareNoError);
  // The device has taken the late write.
  EXPECT_EQ(readRouting(device, 1, 1), 3);
}

// The driver sets the property once for each write; a second time would look like the refusal of
// the next one.
TEST_F(PipeWireAudioServer, WritesInARowAreEachTakenOrRefusedAtOnce) {
  startServer();
  DriverNode node("VX-310", kRecords);
  const AudioObjectID device = find("VX-310");
  const auto start = Clock::now();
  constexpr int kWrites = 100;
  for (std::int32_t value = 0; value < kWrites; ++value) {
    driverWaits().renew();
    ASSERT_EQ(writeRouting(device, 1, value % 3, value), kAudioHardwareNoError) << value;
    ASSERT_EQ(writeRouting(device, 1, 3, value), kAudioHardwareUnspecifiedError) << value;
  }
  // A refused write that waits takes longer than this alone.
  EXPECT_LT(Clock::now() - start, kWrites * std::chrono::milliseconds(kAudioServerHurriedWriteMs));
}

// The seam's writes belong to the main thread, those of the client below it to any thread.
TEST_F(PipeWireAudioServer, WritesFromSeveralThreadsAreAllConfirmed) {
  startServer();
  DriverNode node("VX-310", kRecords);
  const AudioObjectID device = find("VX-310");
  pipewire::Client client;
  client.devices(Clock::now() + kLimit);
  std::vector<std::thread> writers;
  std::array<int, 3> confirmed{};
  for (std::int32_t pair = 0; pair < 3; ++pair) {
    writers.emplace_back([&, pair] {
      for (std::int32_t value = 0; value < 20; ++value) {
        const RoutingRecord record{1, pair, value};
        pipewire::RoutingBytes bytes;
        std::memcpy(bytes.data(), &record, sizeof record);
        if (client.write(device, bytes, Clock::now() + kLimit)) {
          ++confirmed[static_cast<std::size_t>(pair)];
        }
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_THAT(confirmed, ElementsAre(20, 20, 20));
}

}  // namespace
