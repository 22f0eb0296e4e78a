// SPDX-License-Identifier: MIT
// What all operations have in common, as one table: the command, the payload, the failure value,
// and whether a short answer is taken.
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

// The driver answers with this in payload word 0, one more in each word after it, so that a value
// says where it was read.
constexpr std::uint32_t kAnswer = 0x81828384;
constexpr std::int64_t kAnswerSigned = static_cast<std::int32_t>(kAnswer);

struct Operation {
  const char* name;
  std::uint32_t command;
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
     6,
     {},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getCountConfigurations(); }},
    {"getConfiguration",
     7,
     {9},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DeviceConfiguration configuration;
       return d.getConfiguration(9, configuration);
     }},
    {"getCurrentConfiguration",
     8,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DeviceConfiguration configuration;
       return d.getCurrentConfiguration(configuration);
     }},
    {"setConfiguration",
     9,
     {1, 2, 3, 4, 5},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DeviceConfiguration actual;
       return d.setConfiguration(kConfiguration, actual);
     }},
    {"setBufferSize",
     9,
     {512},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.setBufferSize(512); }},
    {"getCountBufferSizes",
     10,
     {},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getCountBufferSizes(); }},
    {"getBufferSize",
     11,
     {0xfffffffe},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getBufferSize(0xfffffffe); }},
    {"getCurrentBufferSize",
     12,
     {},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getCurrentBufferSize(); }},
    {"getCurrentClockSource",
     15,
     {},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.getCurrentClockSource(); }},
    {"setClockSource",
     16,
     {0xfffffffd},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.setClockSource(VQE_ClockSource{-3}); }},
    {"getDigitalStatus",
     17,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_DigitalStatus status;
       return d.getDigitalStatus(status);
     }},
    {"getUSB1Mode",
     25,
     {},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.getUSB1Mode(); }},
    {"setUSB1Mode",
     26,
     {1},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.setUSB1Mode(VQE_USB1Mode{1}); }},
    {"getDigitalOutMode",
     27,
     {},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.getDigitalOutMode(); }},
    {"setDigitalOutMode",
     28,
     {1},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.setDigitalOutMode(VQE_DigitalOutMode{1}); }},
    {"getDigitalOutSelector",
     2,
     {},
     true,
     -1,
     kAnswerSigned,
     [](USBDevice& d) -> std::int64_t { return d.getDigitalOutSelector(); }},
    {"setDigitalOutSelector",
     3,
     {0x80000000},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.setDigitalOutSelector(-2147483647 - 1); }},
    {"prepareFirmwareUpdate",
     33,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.prepareFirmwareUpdate(); }},
    {"readLevelInfo",
     35,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_LevelInfo levels;
       return d.readLevelInfo(levels);
     }},
    {"sendCPortBytes",
     36,
     {0x00050402},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       const std::array<std::uint8_t, 2> bytes = {4, 5};
       return d.sendCPortBytes(bytes);
     }},
    {"resumeStreaming",
     37,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.resumeStreaming(); }},
    {"getConfigStatus",
     38,
     {},
     true,
     0,
     kAnswer,
     [](USBDevice& d) -> std::int64_t { return d.getConfigStatus(); }},
    {"suspendStreaming",
     38,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.suspendStreaming(); }},
    {"setRoutingOfAnOutput",
     40,
     {0, 7, 3},
     true,
     7,
     kAnswerSigned + 2,
     [](USBDevice& d) -> std::int64_t { return d.setRouting(false, 7, 3); }},
    {"setRoutingOfAnInput",
     40,
     {1, 0xfffffffb, 0xffffffff},
     true,
     -5,
     kAnswerSigned + 2,
     [](USBDevice& d) -> std::int64_t { return d.setRouting(true, -5, -1); }},
    {"getWMRegister",
     41,
     {0x56781234, 0},
     true,
     0,
     (kAnswer + 1) & 0xffff,
     [](USBDevice& d) -> std::int64_t { return d.getWMRegister(0x1234, 0x5678); }},
    {"setWMRegister",
     42,
     {0x56781234, 0x9abc},
     true,
     0,
     (kAnswer + 1) & 0xffff,
     [](USBDevice& d) -> std::int64_t { return d.setWMRegister(0x1234, 0x5678, 0x9abc); }},
    {"getOutLevels",
     49,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       std::array<std::uint32_t, 32> levels;
       return d.getOutLevels(levels);
     }},
    {"getChannelMap",
     65,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_Orbek_ChannelMap map;
       return d.getChannelMap(map);
     }},
    {"setChannelMap",
     66,
     {1, 0, 0, 0, 0, 0, 0, 8, 9, 0, 0, 0, 0, 0, 0, 16},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       return d.setChannelMap({{1, 0, 0, 0, 0, 0, 0, 8}, {9, 0, 0, 0, 0, 0, 0, 16}});
     }},
    {"setConfigurationAndChannelMap",
     68,
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
     69,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       VQ_Orbek_ConfigAndMap record;
       return d.getConfigurationAndChannelMap(record);
     }},
    {"updateOrbekConfigAndMap",
     69,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.updateOrbekConfigAndMap(); }},
    {"getOrbekDeviceName",
     70,
     {},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       std::array<char, 33> name;
       return d.getOrbekDeviceName(name);
     }},
    {"setOrbekDeviceName",
     71,
     {0x00006261},
     false,
     0,
     1,
     [](USBDevice& d) -> std::int64_t { return d.setOrbekDeviceName("ab"); }},
    {"getInLevels",
     72,
     {},
     true,
     0,
     1,
     [](USBDevice& d) -> std::int64_t {
       std::array<std::uint32_t, 32> levels;
       return d.getInLevels(levels);
     }},
    {"getDeviceDescriptor",
     21,
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

  VQ_Command command() const { return static_cast<VQ_Command>(GetParam().command); }
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

// --- Operations that the driver never hears of ---

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
