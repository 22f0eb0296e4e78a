// SPDX-License-Identifier: MIT
// Table of all operations: command, payload, failure value, and whether a short answer is accepted.
#include <gmock/gmock.h>

#include <numeric>
#include <ostream>

#include "device/testing/device_fixture.h"

struct VQ_LevelInfoExtended1 {
  int untouched = 5;
};

namespace {

using testing::IsEmpty;
using testing::SizeIs;

// The driver answers with this value in payload word 0, plus 1 in each following word, so that a
// returned value tells which word was read.
constexpr std::uint32_t kAnswer = 0x81828384;
constexpr std::int64_t kAnswerSigned = static_cast<std::int32_t>(kAnswer);

struct Operation {
  const char* name;
  VQ_Command command;
  // The words at the start of the payload; the rest is 0.
  std::vector<std::uint32_t> payload;
  bool checksSize;
  std::int64_t failure;
  std::int64_t success;
  std::int64_t (*call)(USBDevice& device);
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

constexpr VQ_DeviceConfiguration kConfiguration = {1, 2, 3, 4, 5};

const Operation kOperations[] = {
    {"getCountConfigurations",
     VQ_Command::kGetCountConfigurations,
     {},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getCountConfigurations(); }},
    {"getConfiguration",
     VQ_Command::kGetConfiguration,
     {9},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DeviceConfiguration configuration;
       return d.getConfiguration(9, configuration);
     }},
    {"getCurrentConfiguration",
     VQ_Command::kGetCurrentConfiguration,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DeviceConfiguration configuration;
       return d.getCurrentConfiguration(configuration);
     }},
    {"setConfiguration",
     VQ_Command::kSetConfiguration,
     {1, 2, 3, 4, 5},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DeviceConfiguration actual;
       return d.setConfiguration(kConfiguration, actual);
     }},
    {"setBufferSize",
     VQ_Command::kSetBufferSize,
     {512},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.setBufferSize(512); }},
    {"getCountBufferSizes",
     VQ_Command::kGetCountBufferSizes,
     {},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getCountBufferSizes(); }},
    {"getBufferSize",
     VQ_Command::kGetBufferSize,
     {0xfffffffe},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getBufferSize(0xfffffffe); }},
    {"getCurrentBufferSize",
     VQ_Command::kGetCurrentBufferSize,
     {},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getCurrentBufferSize(); }},
    {"getCurrentClockSource",
     VQ_Command::kGetCurrentClockSource,
     {},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.getCurrentClockSource(); }},
    {"setClockSource",
     VQ_Command::kSetClockSource,
     {0xfffffffd},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.setClockSource(VQE_ClockSource{-3}); }},
    {"getDigitalStatus",
     VQ_Command::kGetDigitalStatus,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DigitalStatus status;
       return d.getDigitalStatus(status);
     }},
    {"getUSB1Mode",
     VQ_Command::kGetUSB1Mode,
     {},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.getUSB1Mode(); }},
    {"setUSB1Mode",
     VQ_Command::kSetUSB1Mode,
     {1},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.setUSB1Mode(VQE_USB1Mode{1}); }},
    {"getDigitalOutMode",
     VQ_Command::kGetDigitalOutMode,
     {},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.getDigitalOutMode(); }},
    {"setDigitalOutMode",
     VQ_Command::kSetDigitalOutMode,
     {1},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.setDigitalOutMode(VQE_DigitalOutMode{1}); }},
    {"getDigitalOutSelector",
     VQ_Command::kGetDigitalOutSelector,
     {},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.getDigitalOutSelector(); }},
    {"setDigitalOutSelector",
     VQ_Command::kSetDigitalOutSelector,
     {0x80000000},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.setDigitalOutSelector(-2147483647 - 1); }},
    {"prepareFirmwareUpdate",
     VQ_Command::kPrepareFirmwareUpdate,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.prepareFirmwareUpdate(); }},
    {"readLevelInfo",
     VQ_Command::kReadLevelInfo,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_LevelInfo levels;
       return d.readLevelInfo(levels);
     }},
    {"sendCPortBytes",
     VQ_Command::kSendCPortBytes,
     {0x00050402},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       const std::array<std::uint8_t, 2> bytes = {4, 5};
       return d.sendCPortBytes(bytes);
     }},
    {"resumeStreaming",
     VQ_Command::kResumeStreaming,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.resumeStreaming(); }},
    {"getConfigStatus",
     VQ_Command::kGetConfigStatus,
     {},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getConfigStatus(); }},
    {"suspendStreaming",
     VQ_Command::kSuspendStreaming,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.suspendStreaming(); }},
    {"setRoutingOfAnOutput",
     VQ_Command::kSetRouting,
     {0, 7, 3},
     true,
     7,
     kAnswerSigned + 2,
     [](USBDevice& d) -> std::int64_t { return d.setRouting(false, 7, 3); }},
    {"setRoutingOfAnInput",
     VQ_Command::kSetRouting,
     {1, 0xfffffffb, 0xffffffff},
     true,
     -5,
     kAnswerSigned + 2,
     [](USBDevice& d) -> std::int64_t { return d.setRouting(true, -5, -1); }},
    {"getWMRegister",
     VQ_Command::kGetWMRegister,
     {0x56781234, 0},
     true,
     0,
     (kAnswer + 1) & 0xffff,
     [](USBDevice& d) -> std::int64_t { return d.getWMRegister(0x1234, 0x5678); }},
    {"setWMRegister",
     VQ_Command::kSetWMRegister,
     {0x56781234, 0x9abc},
     true,
     0,
     (kAnswer + 1) & 0xffff,
     [](USBDevice& d) -> std::int64_t { return d.setWMRegister(0x1234, 0x5678, 0x9abc); }},
    {"getOutLevels",
     VQ_Command::kGetOutLevels,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       std::array<std::uint32_t, 32> levels;
       return d.getOutLevels(levels);
     }},
    {"getChannelMap",
     VQ_Command::kGetChannelMap,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_Orbek_ChannelMap map;
       return d.getChannelMap(map);
     }},
    {"setChannelMap",
     VQ_Command::kSetChannelMap,
     {1, 0, 0, 0, 0, 0, 0, 8, 9, 0, 0, 0, 0, 0, 0, 16},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       return d.setChannelMap({{1, 0, 0, 0, 0, 0, 0, 8}, {9, 0, 0, 0, 0, 0, 0, 16}});
     }},
    {"setConfigurationAndChannelMap",
     VQ_Command::kSetConfigurationAndChannelMap,
     {1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 8},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_Orbek_ConfigAndMap actual;
       return d.setConfigurationAndChannelMap({kConfiguration, {{6}, {7, 0, 0, 0, 0, 0, 0, 8}}},
                                              actual);
     }},
    {"getConfigurationAndChannelMap",
     VQ_Command::kGetConfigurationAndChannelMap,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_Orbek_ConfigAndMap record;
       return d.getConfigurationAndChannelMap(record);
     }},
    {"updateOrbekConfigAndMap",
     VQ_Command::kGetConfigurationAndChannelMap,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.updateOrbekConfigAndMap(); }},
    {"getOrbekDeviceName",
     VQ_Command::kGetDeviceName,
     {},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       std::array<char, 33> name;
       return d.getOrbekDeviceName(name);
     }},
    {"setOrbekDeviceName",
     VQ_Command::kSetDeviceName,
     {0x00006261},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.setOrbekDeviceName("ab"); }},
    {"getInLevels",
     VQ_Command::kGetInLevels,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       std::array<std::uint32_t, 32> levels;
       return d.getInLevels(levels);
     }},
    {"getDeviceDescriptor",
     VQ_Command::kGetDeviceDescriptor,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DeviceDescriptor descriptor;
       return d.getDeviceDescriptor(descriptor);
     }},
};

class EveryOperation : public OpenDeviceTest, public testing::WithParamInterface<Operation> {
 protected:
  EveryOperation() {
    std::vector<std::uint32_t> words(VQ_Dispatch::kPayloadWords);
    std::iota(words.begin(), words.end(), kAnswer);
    driver.answerWords(command(), words);
  }

  VQ_Command command() const { return GetParam().command; }
  std::int64_t call() { return GetParam().call(*device); }
};

TEST_P(EveryOperation, SendsItsCommandAndItsPayloadOnce) {
  call();
  const auto record = onlyRequest();
  EXPECT_EQ(record.command(), command());
  for (std::size_t i = 0; i < VQ_Dispatch::kPayloadWords; ++i) {
    EXPECT_EQ(record.word(i), i < GetParam().payload.size() ? GetParam().payload[i] : 0) << i;
  }
}

TEST_P(EveryOperation, ReturnsWhatTheDriverAnswers) { EXPECT_EQ(call(), GetParam().success); }

TEST_P(EveryOperation, OnAClosedDeviceFailsWithoutContactingTheDriver) {
  device->close();
  EXPECT_EQ(call(), GetParam().failure);
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_P(EveryOperation, FailsWhenTheDriverDoesNotAnswer) {
  driver.failAt(command());
  EXPECT_EQ(call(), GetParam().failure);
  EXPECT_THAT(takeRequests(), SizeIs(1));
}

TEST_P(EveryOperation, TakesAShortAnswerOnlyWithoutASizeCheck) {
  driver.shorten(command(), 259);
  EXPECT_EQ(call(), GetParam().checksSize ? GetParam().failure : GetParam().success);
}

INSTANTIATE_TEST_SUITE_P(Device, EveryOperation, testing::ValuesIn(kOperations),
                         [](const auto& operation) { return std::string(operation.param.name); });

// --- Operations that send no record ---

using SilentOperation = OpenDeviceTest;

TEST_F(SilentOperation, LevelListenersAlwaysAttachAndDetach) {
  EXPECT_TRUE(device->levelInfoExAttach());
  EXPECT_TRUE(device->levelInfoExDetach());
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(SilentOperation, ReadingExtendedLevelsSucceedsAndLeavesTheRecordAlone) {
  VQ_LevelInfoExtended1 levels;
  EXPECT_TRUE(device->readLevelInfoExtended1(levels));
  EXPECT_EQ(levels.untouched, 5);
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(SilentOperation, WritingToAControllerPortFails) {
  EXPECT_FALSE(device->writeAJData(nullptr, 1));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

}  // namespace
