// SPDX-License-Identifier: MIT
#include "protocol/dispatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace {

// Drivers of other makers know the commands by these numbers. All other tests use the names.
TEST(Dispatch, EachCommandHasItsNumber) {
  const std::pair<VQ_Command, std::uint32_t> expected[] = {
      {VQ_Command::kGetDigitalOutSelector, 2},
      {VQ_Command::kSetDigitalOutSelector, 3},
      {VQ_Command::kReadLogicChip, 4},
      {VQ_Command::kWriteLogicChip, 5},
      {VQ_Command::kGetCountConfigurations, 6},
      {VQ_Command::kGetConfiguration, 7},
      {VQ_Command::kGetCurrentConfiguration, 8},
      {VQ_Command::kSetConfiguration, 9},
      {VQ_Command::kSetBufferSize, 9},
      {VQ_Command::kGetCountBufferSizes, 10},
      {VQ_Command::kGetBufferSize, 11},
      {VQ_Command::kGetCurrentBufferSize, 12},
      {VQ_Command::kCanClockSource, 14},
      {VQ_Command::kGetCurrentClockSource, 15},
      {VQ_Command::kSetClockSource, 16},
      {VQ_Command::kGetDigitalStatus, 17},
      {VQ_Command::kGetString0, 18},
      {VQ_Command::kGetString1, 19},
      {VQ_Command::kGetUsbSpeed, 20},
      {VQ_Command::kGetDeviceDescriptor, 21},
      {VQ_Command::kGetDriverVersion, 22},
      {VQ_Command::kGetFirmwareVersion, 23},
      {VQ_Command::kGetFirmwareDate, 24},
      {VQ_Command::kGetUSB1Mode, 25},
      {VQ_Command::kSetUSB1Mode, 26},
      {VQ_Command::kGetDigitalOutMode, 27},
      {VQ_Command::kSetDigitalOutMode, 28},
      {VQ_Command::kPrepareFirmwareUpdate, 33},
      {VQ_Command::kUsbRequest, 34},
      {VQ_Command::kReadLevelInfo, 35},
      {VQ_Command::kSendCPortBytes, 36},
      {VQ_Command::kResumeStreaming, 37},
      {VQ_Command::kGetConfigStatus, 38},
      {VQ_Command::kSuspendStreaming, 38},
      {VQ_Command::kSetRouting, 40},
      {VQ_Command::kGetWMRegister, 41},
      {VQ_Command::kSetWMRegister, 42},
      {VQ_Command::kControlCode56, 48},
      {VQ_Command::kGetOutLevels, 49},
      {VQ_Command::kGetChannelMap, 65},
      {VQ_Command::kSetChannelMap, 66},
      {VQ_Command::kGetValueAtOpen, 67},
      {VQ_Command::kSetConfigurationAndChannelMap, 68},
      {VQ_Command::kGetConfigurationAndChannelMap, 69},
      {VQ_Command::kGetDeviceName, 70},
      {VQ_Command::kSetDeviceName, 71},
      {VQ_Command::kGetInLevels, 72},
      {VQ_Command::kReenumerateDevice, 76},
  };
  for (const auto& [command, number] : expected) {
    EXPECT_EQ(static_cast<std::uint32_t>(command), number);
  }
}

TEST(Dispatch, TheCommandIsTheFirstFourBytesOfTheRecord) {
  const VQ_Dispatch record(VQ_Command::kReenumerateDevice, 0x04030201);
  EXPECT_EQ(wire::load<std::uint32_t>(record.bytes, 0), 76u);
  EXPECT_EQ(wire::load<std::uint32_t>(record.bytes, 4), 0x04030201u);
  EXPECT_EQ(record.command(), VQ_Command::kReenumerateDevice);
}

TEST(Dispatch, ANumberIsTheFirstEightBytesOfThePayload) {
  VQ_Dispatch record;
  record.setValueAtOpen(-1.5);
  EXPECT_EQ(wire::load<std::uint64_t>(record.bytes, 4), 0xBFF8000000000000u);
  EXPECT_EQ(record.valueAtOpen(), -1.5);
}

TEST(Dispatch, BytesForTheControlPortFollowTheirCount) {
  const VQ_Dispatch record = controlPortRecord(std::array<std::uint8_t, 2>{0xF0, 0x42});
  EXPECT_EQ(record.command(), VQ_Command::kSendCPortBytes);
  EXPECT_EQ(record.word(0), 0x0042F002u);
  EXPECT_TRUE(std::ranges::equal(controlPortBytes(record), std::array{0xF0, 0x42}));
}

TEST(Dispatch, ARecordHasUpTo255BytesForTheControlPort) {
  std::array<std::uint8_t, 256> bytes;
  bytes.fill(7);
  const VQ_Dispatch record = controlPortRecord(bytes);
  EXPECT_EQ(record.payload()[0], 255);
  EXPECT_EQ(controlPortBytes(record).size(), 255u);
  EXPECT_EQ(record.payload()[255], 7);
  EXPECT_TRUE(controlPortBytes(controlPortRecord({})).empty());
}

TEST(Dispatch, ARequestsPacketIsTheSelectorInLittleEndianAndTheRecord) {
  EXPECT_EQ(requestPacket(0x04030201, std::vector<std::uint8_t>{5, 6}),
            (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST(Dispatch, ARecordIsReadBackFromItsPacket) {
  const VQ_Dispatch record(VQ_Command::kSetRouting, 0x12345678);
  const auto read = recordOf(requestPacket(kDispatchSelector, record.bytes));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->bytes, record.bytes);
}

TEST(Dispatch, APacketOfAnotherSizeOrSelectorHoldsNoRecord) {
  const VQ_Dispatch record;
  auto packet = requestPacket(kDispatchSelector + 1, record.bytes);
  EXPECT_FALSE(recordOf(packet));
  packet = requestPacket(kDispatchSelector, record.bytes);
  packet.push_back(0);
  EXPECT_FALSE(recordOf(packet));
  packet.resize(kRequestPacketSize - 1);
  EXPECT_FALSE(recordOf(packet));
  EXPECT_FALSE(recordOf({}));
}

}  // namespace
