// SPDX-License-Identifier: MIT
#include "io/audio_device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/audio_server/memory/memory_audio_server.h"
#include "platform/log/memory/memory_log.h"

namespace {

using memory_audio_server::addDevice;
using memory_audio_server::Call;
using memory_audio_server::kRoutingSelector;
using memory_audio_server::Operation;
using memory_audio_server::RoutingProperty;
using platform::LogPriority;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class AudioDevice : public testing::Test {
 protected:
  AudioDevice() {
    memory_audio_server::reset();
    memory_log::reset();
    _halDevice = 0;
    setHalDeviceName("");
  }
};

using AudioDeviceLookup = AudioDevice;

TEST_F(AudioDeviceLookup, ADeviceOfThatNameIsFound) {
  addDevice("Built-in");
  const AudioObjectID device = addDevice("VX-310");
  addDevice("VX-310");
  EXPECT_EQ(getHalDevice("VX-310"), device);
}

TEST_F(AudioDeviceLookup, WithoutADeviceOfThatNameTheResultIs0) {
  addDevice("Built-in");
  EXPECT_EQ(getHalDevice("VX-310"), 0u);
  EXPECT_EQ(memory_log::takeErrors(), "");
}

TEST_F(AudioDeviceLookup, TheBitAccurateDeviceIsFound) {
  addDevice("Built-in");
  const AudioObjectID device = addDevice("VX-310 (Bit Accurate)");
  EXPECT_EQ(getHalDevice("VX-310"), device);
}

TEST_F(AudioDeviceLookup, TheFirstDeviceOfEitherNameIsTaken) {
  const AudioObjectID first = addDevice("VX-310 (Bit Accurate)");
  const AudioObjectID second = addDevice("VX-310");
  EXPECT_EQ(getHalDevice("VX-310"), first);
  memory_audio_server::removeDevice(first);
  addDevice("VX-310 (Bit Accurate)");
  EXPECT_EQ(getHalDevice("VX-310"), second);
}

TEST_F(AudioDeviceLookup, ANameThatMatchesOnlyByCaseIsNotFound) {
  addDevice("vx-310");
  addDevice("VX-310 (bit accurate)");
  EXPECT_EQ(getHalDevice("VX-310"), 0u);
}

TEST_F(AudioDeviceLookup, ANameThatOnlyBeginsAlikeIsNotFound) {
  addDevice("VX-310 2");
  addDevice("VX-31");
  EXPECT_EQ(getHalDevice("VX-310"), 0u);
}

TEST_F(AudioDeviceLookup, Of40DevicesOnlyTheFirst32AreCompared) {
  for (int i = 0; i < 32; ++i) addDevice("Other");
  for (int i = 0; i < 8; ++i) addDevice("VX-310");
  EXPECT_EQ(getHalDevice("VX-310"), 0u);
  EXPECT_THAT(memory_log::lines(),
              ElementsAre(memory_log::Line{LogPriority::kWarning, "Found 32 devices\n"}));
}

TEST_F(AudioDeviceLookup, The32ndDeviceIsCompared) {
  for (int i = 0; i < 31; ++i) addDevice("Other");
  const AudioObjectID device = addDevice("VX-310");
  EXPECT_EQ(getHalDevice("VX-310"), device);
}

TEST_F(AudioDeviceLookup, AtMost128BytesOfIdsAreAskedFor) {
  for (int i = 0; i < 40; ++i) addDevice("Other");
  getHalDevice("VX-310");
  const Call listRead = memory_audio_server::calls().at(1);
  EXPECT_EQ(listRead.operation, Operation::kGetData);
  EXPECT_EQ(listRead.object, kAudioObjectSystemObject);
  EXPECT_EQ(listRead.size, 128u);
}

TEST_F(AudioDeviceLookup, EachNameIsReadIntoRoomFor128Bytes) {
  addDevice("VX-310");
  getHalDevice("VX-310");
  const Call nameRead = memory_audio_server::calls().at(2);
  EXPECT_EQ(nameRead.selector, kAudioDevicePropertyDeviceName);
  EXPECT_EQ(nameRead.size, 128u);
}

TEST_F(AudioDeviceLookup, AVeryLongNameOfAnotherDeviceDoesNotDisturbTheSearch) {
  addDevice(std::string(5000, 'x'));
  addDevice(std::string("\xff\x80\0\x01", 4));
  const AudioObjectID device = addDevice("VX-310");
  EXPECT_EQ(getHalDevice("VX-310"), device);
}

TEST_F(AudioDeviceLookup, TheFirst127BytesOfADevicesNameAreCompared) {
  const AudioObjectID device = addDevice(std::string(200, 'x'));
  EXPECT_EQ(getHalDevice(std::string(127, 'x').c_str()), device);
  EXPECT_EQ(getHalDevice(std::string(126, 'x').c_str()), 0u);
}

TEST_F(AudioDeviceLookup, NothingButTheNamesOfTheListedDevicesIsRead) {
  std::vector<AudioObjectID> read;
  const std::vector<AudioObjectID> devices = {addDevice("Built-in"), addDevice("Other")};
  getHalDevice("VX-310");
  for (const Call& call : memory_audio_server::calls()) {
    if (call.selector == kAudioDevicePropertyDeviceName) read.push_back(call.object);
  }
  EXPECT_EQ(read, devices);
}

TEST_F(AudioDeviceLookup, AVeryLongNameToLookForIsNotFound) {
  addDevice(std::string(5000, 'x'));
  EXPECT_EQ(getHalDevice(std::string(5000, 'x').c_str()), 0u);
}

TEST_F(AudioDeviceLookup, TheSearchStopsAtTheDeviceFound) {
  addDevice("VX-310");
  addDevice("Built-in");
  getHalDevice("VX-310");
  EXPECT_THAT(memory_audio_server::calls(), SizeIs(3));
}

TEST_F(AudioDeviceLookup, TheSystemLogTellsTheCountAndTheDeviceFound) {
  const AudioObjectID device = addDevice("VX-310 (Bit Accurate)");
  getHalDevice("VX-310");
  EXPECT_THAT(
      memory_log::lines(),
      ElementsAre(memory_log::Line{LogPriority::kWarning, "Found 1 devices\n"},
                  memory_log::Line{LogPriority::kWarning, "Found dev " + std::to_string(device) +
                                                              " named VX-310 (Bit Accurate)\n"}));
}

TEST_F(AudioDeviceLookup, AFailingListSizeIsReportedOnStandardError) {
  addDevice("VX-310");
  memory_audio_server::failNext(Operation::kGetSize, kAudioObjectSystemObject,
                                kAudioHardwarePropertyDevices, -66);
  EXPECT_EQ(getHalDevice("VX-310"), 0u);
  EXPECT_EQ(memory_log::takeErrors(),
            "AudioObjectGetPropertyDataSize (kAudioHardwarePropertyDevices) failed: -66\n");
  EXPECT_THAT(memory_log::lines(), IsEmpty());
}

TEST_F(AudioDeviceLookup, AFailingListReadIsSilent) {
  addDevice("VX-310");
  memory_audio_server::failNext(Operation::kGetData, kAudioObjectSystemObject,
                                kAudioHardwarePropertyDevices, -66);
  EXPECT_EQ(getHalDevice("VX-310"), 0u);
  EXPECT_EQ(memory_log::takeErrors(), "");
  EXPECT_EQ(memory_log::takeOutput(), "");
  EXPECT_THAT(memory_log::lines(), IsEmpty());
}

TEST_F(AudioDeviceLookup, ADeviceWhoseNameCannotBeReadIsSkipped) {
  const AudioObjectID unreadable = addDevice("VX-310");
  const AudioObjectID device = addDevice("VX-310");
  memory_audio_server::failNext(Operation::kGetData, unreadable, kAudioDevicePropertyDeviceName,
                                kAudioHardwareUnspecifiedError);
  EXPECT_EQ(getHalDevice("VX-310"), device);
}

TEST_F(AudioDeviceLookup, TheNameToLookForIsKeptCutAndTerminated) {
  setHalDeviceName("VX-310");
  EXPECT_STREQ(_halDeviceName, "VX-310");
  setHalDeviceName(std::string(500, 'x').c_str());
  EXPECT_EQ(_halDeviceName, std::string(127, 'x'));
  setHalDeviceName("VX");
  EXPECT_STREQ(_halDeviceName, "VX");
}

// _halDevice is a device with the routing property.
class AudioDeviceRouting : public AudioDevice {
 protected:
  AudioDeviceRouting() {
    RoutingProperty routing;
    routing.records = memory_audio_server::defaultRecords();
    device_ = addDevice("VX-310", routing);
    _halDevice = device_;
  }

  RoutingProperty& routing() { return *memory_audio_server::routingProperty(device_); }

  // The recorded calls of `operation` on the routing property.
  std::vector<Call> calls(Operation operation) {
    std::vector<Call> found;
    for (const Call& call : memory_audio_server::calls()) {
      if (call.operation == operation && call.selector == kRoutingSelector) found.push_back(call);
    }
    return found;
  }

  static std::vector<std::uint8_t> bytes(const RoutingRecord& record, std::size_t size = 12) {
    std::vector<std::uint8_t> result(std::max(size, sizeof record));
    std::memcpy(result.data(), &record, sizeof record);
    result.resize(size);
    return result;
  }

  AudioObjectID device_;
};

TEST_F(AudioDeviceRouting, WritingWithoutADeviceDoesAndPrintsNothing) {
  _halDevice = 0;
  EXPECT_FALSE(setRouting(true, 1, 2));
  EXPECT_THAT(memory_audio_server::calls(), IsEmpty());
  EXPECT_EQ(memory_log::takeOutput(), "");
  EXPECT_EQ(memory_log::takeErrors(), "");
}

TEST_F(AudioDeviceRouting, WritingADeviceThatIsGoneDoesAndPrintsNothing) {
  memory_audio_server::removeDevice(device_);
  EXPECT_FALSE(setRouting(true, 1, 2));
  EXPECT_THAT(calls(Operation::kSetData), IsEmpty());
  EXPECT_EQ(memory_log::takeOutput(), "");
}

TEST_F(AudioDeviceRouting, WritingADeviceWithoutThePropertySendsNothing) {
  _halDevice = addDevice("VX-310");
  EXPECT_FALSE(setRouting(true, 1, 2));
  EXPECT_THAT(calls(Operation::kSetData), IsEmpty());
  EXPECT_THAT(calls(Operation::kGetSize), IsEmpty());
  EXPECT_EQ(memory_log::takeOutput(), "");
}

TEST_F(AudioDeviceRouting, AnInputRoutingIsWrittenAsItsRecord) {
  EXPECT_TRUE(setRouting(true, 2, 3));
  const auto writes = calls(Operation::kSetData);
  ASSERT_THAT(writes, SizeIs(1));
  EXPECT_EQ(writes[0].object, device_);
  EXPECT_EQ(writes[0].data, bytes({1, 2, 3}));
  EXPECT_EQ(routing().records[4], (RoutingRecord{1, 2, 3}));
  EXPECT_EQ(memory_log::takeOutput(), "");
}

TEST_F(AudioDeviceRouting, AnOutputRoutingIsWrittenAsItsRecord) {
  EXPECT_TRUE(setRouting(false, 1, -1));
  EXPECT_EQ(calls(Operation::kSetData).at(0).data, bytes({0, 1, -1}));
}

TEST_F(AudioDeviceRouting, AShorterReportedSizeIsWhatIsSent) {
  routing().reportedSize = 8;
  EXPECT_TRUE(setRouting(true, 1, 2));
  EXPECT_EQ(calls(Operation::kSetData).at(0).data, bytes({1, 1, 2}, 8));
}

TEST_F(AudioDeviceRouting, AReportedSizeOf0SendsNoBytes) {
  routing().reportedSize = 0;
  EXPECT_TRUE(setRouting(true, 1, 2));
  EXPECT_EQ(calls(Operation::kSetData).at(0).size, 0u);
}

TEST_F(AudioDeviceRouting, ALongerReportedSizeIsSentWithZerosBehindTheRecord) {
  routing().reportedSize = 4096;
  EXPECT_TRUE(setRouting(true, 1, 2));
  EXPECT_EQ(calls(Operation::kSetData).at(0).data, bytes({1, 1, 2}, 4096));
}

TEST_F(AudioDeviceRouting, AReportedSizeAbove4096IsRefusedAsABadSize) {
  routing().reportedSize = 4097;
  EXPECT_FALSE(setRouting(true, 1, 2));
  EXPECT_THAT(calls(Operation::kSetData), IsEmpty());
  EXPECT_EQ(memory_log::takeOutput(), "failed setRouting: [zis!]\n");
}

TEST_F(AudioDeviceRouting, AFailingSizeIsIgnoredAndTheRecordSent) {
  routing().sizeStatus = kAudioHardwareUnspecifiedError;
  EXPECT_TRUE(setRouting(true, 1, 2));
  EXPECT_EQ(calls(Operation::kSetData).at(0).size, 12u);
}

// The code's first character is in the highest byte, which is the last in memory on a little-endian
// machine.
TEST_F(AudioDeviceRouting, AFailingWritePrintsTheStatusInMemoryOrder) {
  routing().writeStatus = kAudioHardwareUnspecifiedError;
  EXPECT_FALSE(setRouting(true, 1, 2));
  EXPECT_EQ(memory_log::takeOutput(), "failed setRouting: [tahw]\n");
}

TEST_F(AudioDeviceRouting, ASmallStatusPrintsNoMoreThanItsFourBytes) {
  routing().writeStatus = 0x41;
  EXPECT_FALSE(setRouting(true, 1, 2));
  EXPECT_EQ(memory_log::takeOutput(), "failed setRouting: [   A]\n");
}

TEST_F(AudioDeviceRouting, ReadingWithoutADeviceSaysSo) {
  _halDevice = 0;
  EXPECT_EQ(getRouting(true, 1), -1);
  EXPECT_EQ(memory_log::takeOutput(), "Audio device not initialized\n");
}

TEST_F(AudioDeviceRouting, ReadingADeviceWithoutThePropertyIsMinus1) {
  _halDevice = addDevice("VX-310");
  EXPECT_EQ(getRouting(true, 1), -1);
  EXPECT_EQ(memory_log::takeOutput(), "");
}

TEST_F(AudioDeviceRouting, ReadingAsksWithThePairNumberAsTheValue) {
  getRouting(true, 2);
  EXPECT_EQ(calls(Operation::kGetData).at(0).size, 12u);
  auto request = calls(Operation::kGetData).at(0).data;
  request.resize(12);
  EXPECT_EQ(request, bytes({1, 2, 2}));
}

TEST_F(AudioDeviceRouting, ReadingGivesTheValueOfThatRouting) {
  routing().records = {{0, 1, 10}, {1, 1, 11}, {1, 2, 12}};
  EXPECT_EQ(getRouting(true, 1), 11);
  EXPECT_EQ(getRouting(true, 2), 12);
  EXPECT_EQ(getRouting(false, 1), 10);
  EXPECT_EQ(memory_log::takeOutput(), "");
}

TEST_F(AudioDeviceRouting, AnEnormousReportedSizeIsCutTo4096Bytes) {
  routing().reportedSize = 1 << 20;
  routing().records = {{1, 1, 11}};
  EXPECT_EQ(getRouting(true, 1), 11);
  EXPECT_EQ(calls(Operation::kGetData).at(0).size, 4096u);
}

TEST_F(AudioDeviceRouting, AFailingReadPrintsTheSettersTextAndIs0) {
  routing().readStatus = kAudioHardwareUnknownPropertyError;
  EXPECT_EQ(getRouting(true, 1), 0);
  EXPECT_EQ(memory_log::takeOutput(), "failed setRouting: [?ohw]\n");
}

TEST_F(AudioDevice, ThePerformanceSettingDoesNothing) {
  AudioPerformance(2);
  EXPECT_THAT(memory_audio_server::calls(), IsEmpty());
  EXPECT_EQ(memory_log::takeOutput(), "");
}

}  // namespace
