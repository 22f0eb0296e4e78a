// SPDX-License-Identifier: MIT
// The driver service and its audio devices on a PipeWire server, seen as the panel sees them.
#include <gmock/gmock.h>

#include <condition_variable>
#include <mutex>

#include "driver/testing/driver_session.h"
#include "platform/audio_server/audio_server.h"
#include "platform/notices/notices.h"
#include "protocol/options.h"
#include "tests/support/open_files.h"
#include "tests/support/pipewire_server.h"

namespace driver {
namespace {

using testing::DriverSession;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::kPatience;
using ::testing::SizeIs;

constexpr AudioObjectPropertyAddress kDevices = {kAudioHardwarePropertyDevices,
                                                 kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMaster};
constexpr AudioObjectPropertyAddress kName = {kAudioDevicePropertyDeviceName,
                                              kAudioObjectPropertyScopeGlobal,
                                              kAudioObjectPropertyElementMaster};
constexpr AudioObjectPropertyAddress kRouting = {fourCharCode(kRoutingProperty),
                                                 kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMaster};

// Lets a test wait for changes of the device list.
class DeviceList {
 public:
  DeviceList() {
    AudioObjectAddPropertyListener(kAudioObjectSystemObject, kDevices, changed, this);
  }
  ~DeviceList() {
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, kDevices, changed, this);
  }

  // The devices of that name once there are so many; fewer or more when that takes too long.
  std::vector<AudioObjectID> waitFor(const std::string& name, std::size_t count) {
    std::unique_lock lock(mutex_);
    std::vector<AudioObjectID> found;
    change_.wait_for(lock, kPatience, [&] {
      found = named(name);
      return found.size() == count;
    });
    return found;
  }

 private:
  static OSStatus changed(AudioObjectID, std::span<const AudioObjectPropertyAddress>, void* self) {
    auto* list = static_cast<DeviceList*>(self);
    // Taken so that a change does not fall between a look and the wait after it.
    { const std::scoped_lock lock(list->mutex_); }
    list->change_.notify_all();
    return 0;
  }

  static std::vector<AudioObjectID> named(const std::string& name) {
    std::array<std::uint8_t, 4000> ids{};
    std::uint32_t size = ids.size();
    std::vector<AudioObjectID> found;
    if (AudioObjectGetPropertyData(kAudioObjectSystemObject, kDevices, &size, ids) != 0) {
      return found;
    }
    for (std::uint32_t offset = 0; offset + 4 <= size; offset += 4) {
      const auto id = wire::load<std::uint32_t>(ids, offset);
      std::array<std::uint8_t, 128> text{};
      std::uint32_t length = text.size();
      AudioObjectGetPropertyData(id, kName, &length, text);
      if (name == reinterpret_cast<const char*>(text.data())) found.push_back(id);
    }
    return found;
  }

  std::mutex mutex_;
  std::condition_variable change_;
};

class DriverAudioDevice : public DriverSession {
 protected:
  // One for all tests of a process, since the panel's side of it finds the server once.
  static void SetUpTestSuite() {
    server_ = std::make_unique<test_support::PipeWireServer>();
    ASSERT_TRUE(server_->start());
  }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    DriverSession::SetUp();
    audioEnvironment_.clear();  // that of this process, which the server has set
    ASSERT_THAT(DeviceList().waitFor("VX-310", 0), IsEmpty());
  }

  static OSStatus write(AudioObjectID device, std::uint32_t input, std::uint32_t pair,
                        std::uint32_t value) {
    std::array<std::uint8_t, 60> record{};
    wire::store(record, 0, input);
    wire::store(record, 4, pair);
    wire::store(record, 8, value);
    return AudioObjectSetPropertyData(device, kRouting, std::span(record).first(12));
  }

  // The value of a routing as the device shows it.
  static std::int64_t read(AudioObjectID device, std::uint32_t input, std::uint32_t pair) {
    std::array<std::uint8_t, 12> record{};
    wire::store(record, 0, input);
    wire::store(record, 4, pair);
    std::uint32_t size = record.size();
    if (AudioObjectGetPropertyData(device, kRouting, &size, record) != 0) return -1;
    return wire::load<std::uint32_t>(record, 8);
  }

  static inline std::unique_ptr<test_support::PipeWireServer> server_;
};

TEST_F(DriverAudioDevice, ExistsWhileTheInterfaceIsPublished) {
  startDriver();
  EXPECT_THAT(DeviceList().waitFor("VX-310", 2), SizeIs(2));
}

TEST_F(DriverAudioDevice, EveryInterfaceHasOne) {
  startDriver({"--count", "2"});
  DeviceList list;
  EXPECT_THAT(list.waitFor("VX-310", 4), SizeIs(4));
  control({"unplug"});
  EXPECT_THAT(list.waitFor("VX-310", 2), SizeIs(2));
}

TEST_F(DriverAudioDevice, DisappearsWithTheInterface) {
  startDriver();
  DeviceList list;
  ASSERT_THAT(list.waitFor("VX-310", 2), SizeIs(2));
  control({"unplug"});
  EXPECT_THAT(list.waitFor("VX-310", 0), IsEmpty());
  control({"plug"});
  EXPECT_THAT(list.waitFor("VX-310", 2), SizeIs(2));
}

TEST_F(DriverAudioDevice, AnInterfaceOfTheSiblingFamilyHasNoAudioDevice) {
  startDriver();
  DeviceList list;
  ASSERT_THAT(list.waitFor("VX-310", 2), SizeIs(2));
  control({"class", "orbek"});
  EXPECT_THAT(list.waitFor("VX-310", 0), IsEmpty());
  EXPECT_THAT(services(), SizeIs(1));
}

TEST_F(DriverAudioDevice, ARoutingWrittenToItReachesTheInterface) {
  startDriver();
  const auto devices = DeviceList().waitFor("VX-310", 2);
  ASSERT_THAT(devices, SizeIs(2));
  EXPECT_EQ(write(devices[0], 1, 2, 3), 0);
  EXPECT_EQ(services().begin()->second.numbers["RoutingIn2"], 3);
  catchUp();
  EXPECT_THAT(propertiesChanged_, SizeIs(1));
  EXPECT_THAT(messages_, SizeIs(1));
}

TEST_F(DriverAudioDevice, ARoutingOutOfRangeIsRejected) {
  startDriver();
  const auto devices = DeviceList().waitFor("VX-310", 2);
  ASSERT_THAT(devices, SizeIs(2));
  write(devices[0], 1, 2, 4);
  write(devices[0], 0, 2, 0);
  EXPECT_EQ(read(devices[0], 1, 2), 2);
  EXPECT_EQ(services().begin()->second.numbers["RoutingIn2"], 2);
  catchUp();
  EXPECT_THAT(messages_, IsEmpty());
}

TEST_F(DriverAudioDevice, ARoutingThatAFaultRefusesFailsBeforeItsTimeLimit) {
  startDriver();
  const auto devices = DeviceList().waitFor("VX-310", 2);
  ASSERT_THAT(devices, SizeIs(2));
  EXPECT_EQ(control({"fault", "refuse"}), "");
  EXPECT_NE(write(devices[0], 1, 2, 3), 0);
  EXPECT_TRUE(hasNotice(Notice::kChoiceRefused));
  EXPECT_FALSE(hasNotice(Notice::kRoutingUnconfirmed));
  EXPECT_EQ(read(devices[0], 1, 2), 2);
  EXPECT_EQ(write(devices[0], 1, 2, 3), 0);
  EXPECT_EQ(read(devices[0], 1, 2), 3);
}

TEST_F(DriverAudioDevice, ShowsARoutingSetByARecord) {
  startDriver();
  const auto devices = DeviceList().waitFor("VX-310", 2);
  ASSERT_THAT(devices, SizeIs(2));
  EXPECT_EQ(read(devices[0], 0, 1), 1);
  const auto connection = open(onlyService());
  EXPECT_EQ(request(connection, kSetRouting, {0, 1, 4}).word(2), 4u);
  // Writing the same again returns when the device has shown its routings after it.
  EXPECT_EQ(write(devices[0], 0, 1, 4), 0);
  EXPECT_EQ(read(devices[0], 0, 1), 4);
}

// More than a user may have of the system's watches.
TEST_F(DriverAudioDevice, TwoHundredAudioDevicesShareOneFileWatch) {
  startDriver({"--count", "200"});
  EXPECT_THAT(DeviceList().waitFor("VX-310", 400), SizeIs(400));
  EXPECT_EQ(test_support::countOpenFiles(driver().pid(), "anon_inode:inotify"), 1u);
}

TEST_F(DriverAudioDevice, ReappearsForEveryInterfaceWhenTheAudioServerRestarts) {
  startDriver({"--count", "3"});
  DeviceList list;
  ASSERT_THAT(list.waitFor("VX-310", 6), SizeIs(6));
  server_->kill();
  ASSERT_THAT(list.waitFor("VX-310", 0), IsEmpty());
  ASSERT_TRUE(server_->start());
  EXPECT_THAT(list.waitFor("VX-310", 6), SizeIs(6));
}

TEST_F(DriverAudioDevice, AppearsWhenTheAudioServerStartsLater) {
  server_->stop();
  startDriver();
  EXPECT_THAT(services(), SizeIs(1));
  DeviceList list;
  ASSERT_TRUE(server_->start());
  EXPECT_THAT(list.waitFor("VX-310", 2), SizeIs(2));
}

}  // namespace
}  // namespace driver
