// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <numeric>

#include "device/testing/device_fixture.h"

namespace {

using testing::IsEmpty;
using testing::SizeIs;

// --- Codec registers ---

using CodecRegister = OpenDeviceTest;

TEST_F(CodecRegister, IsTheThird16BitField) {
  driver.answerWords(VQ_Command::kGetWMRegister, {0x22221111, 0x44443333});
  EXPECT_EQ(device->getWMRegister(1, 2), 0x3333);
  driver.answerWords(VQ_Command::kSetWMRegister, {0x22221111, 0x44445555});
  EXPECT_EQ(device->setWMRegister(1, 2, 3), 0x5555);
}

// --- Logic chip ---

class LogicChip : public OpenDeviceTest {
 protected:
  LogicChip() { hold(0); }
  void hold(std::uint32_t word) { driver.answerWords(VQ_Command::kReadLogicChip, {word}); }

  // The word written by the second of two requests.
  std::uint32_t written() {
    const auto requests = takeRequests();
    EXPECT_THAT(requests, SizeIs(2));
    if (requests.size() != 2) return 0xdead;
    EXPECT_EQ(requests[0].command(), VQ_Command::kReadLogicChip);
    EXPECT_EQ(requests[0].word(0), 0u);
    EXPECT_EQ(requests[1].command(), VQ_Command::kWriteLogicChip);
    return requests[1].word(0);
  }
};

TEST_F(LogicChip, DigitalMonitorIsBit4AndMixOutSelectIsBit3) {
  for (std::uint32_t bit = 0; bit < 32; ++bit) {
    hold(1u << bit);
    EXPECT_EQ(device->getDaxCpldDigitalMon(), bit == 4) << bit;
    EXPECT_EQ(device->getDaxCpldMixOutSel(), bit == 3) << bit;
  }
  const auto requests = takeRequests();
  EXPECT_EQ(requests.front().command(), VQ_Command::kReadLogicChip);
  EXPECT_EQ(requests.front().word(0), 0u);
}

TEST_F(LogicChip, SettingABitKeepsTheOthers) {
  hold(0xffffffe7);
  EXPECT_TRUE(device->setDaxCpldDigitalMon(true));
  EXPECT_EQ(written(), 0xfffffff7u);
  EXPECT_TRUE(device->setDaxCpldMixOutSel(true));
  EXPECT_EQ(written(), 0xffffffefu);
}

TEST_F(LogicChip, ClearingABitKeepsTheOthers) {
  hold(0xffffffff);
  EXPECT_TRUE(device->setDaxCpldDigitalMon(false));
  EXPECT_EQ(written(), 0xffffffefu);
  EXPECT_TRUE(device->setDaxCpldMixOutSel(false));
  EXPECT_EQ(written(), 0xfffffff7u);
}

TEST_F(LogicChip, AFailedReadWritesNothing) {
  driver.failAt(VQ_Command::kReadLogicChip);
  EXPECT_FALSE(device->setDaxCpldDigitalMon(true));
  EXPECT_FALSE(device->setDaxCpldMixOutSel(true));
  for (const auto& request : takeRequests()) {
    EXPECT_EQ(request.command(), VQ_Command::kReadLogicChip);
  }
}

TEST_F(LogicChip, AFailedWriteFails) {
  driver.failAt(VQ_Command::kWriteLogicChip);
  EXPECT_FALSE(device->setDaxCpldDigitalMon(true));
  EXPECT_FALSE(device->setDaxCpldMixOutSel(false));
}

TEST_F(LogicChip, ShortAnswersAreAccepted) {
  hold(0x18);
  driver.shorten(VQ_Command::kReadLogicChip, 8);
  driver.shorten(VQ_Command::kWriteLogicChip, 0);
  EXPECT_TRUE(device->getDaxCpldDigitalMon());
  EXPECT_TRUE(device->getDaxCpldMixOutSel());
  takeRequests();
  EXPECT_TRUE(device->setDaxCpldDigitalMon(false));
  EXPECT_EQ(written(), 0x08u);
}

TEST_F(LogicChip, AFailedReadIsFalse) {
  driver.failAt(VQ_Command::kReadLogicChip);
  EXPECT_FALSE(device->getDaxCpldDigitalMon());
  EXPECT_FALSE(device->getDaxCpldMixOutSel());
}

TEST_F(LogicChip, AClosedDeviceFailsWithoutContactingTheDriver) {
  hold(0x18);
  device->close();
  EXPECT_FALSE(device->getDaxCpldDigitalMon());
  EXPECT_FALSE(device->getDaxCpldMixOutSel());
  EXPECT_FALSE(device->setDaxCpldDigitalMon(true));
  EXPECT_FALSE(device->setDaxCpldMixOutSel(true));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

// --- Control port ---

class ControlPort : public OpenDeviceTest {
 protected:
  ControlPort() : bytes(600) { std::iota(bytes.begin(), bytes.end(), std::uint8_t{1}); }
  std::vector<std::uint8_t> bytes;
};

TEST_F(ControlPort, SixHundredBytesGoInChunksOf255And255And90) {
  EXPECT_TRUE(device->sendCPortBytes(bytes));
  const auto requests = takeRequests();
  ASSERT_THAT(requests, SizeIs(3));
  std::vector<std::uint8_t> sent;
  const std::size_t expected[] = {255, 255, 90};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(requests[i].command(), VQ_Command::kSendCPortBytes);
    const auto payload = requests[i].payload();
    ASSERT_EQ(payload[0], expected[i]);
    sent.insert(sent.end(), payload.begin() + 1, payload.begin() + 1 + payload[0]);
  }
  EXPECT_EQ(sent, bytes);
}

TEST_F(ControlPort, ChunksBreakAt255) {
  EXPECT_TRUE(device->sendCPortBytes(255, bytes.data()));
  EXPECT_THAT(takeRequests(), SizeIs(1));
  EXPECT_TRUE(device->sendCPortBytes(256, bytes.data()));
  const auto requests = takeRequests();
  ASSERT_THAT(requests, SizeIs(2));
  EXPECT_EQ(requests[1].payload()[0], 1);
  EXPECT_EQ(requests[1].payload()[1], bytes[255]);
  EXPECT_EQ(requests[1].payload()[2], 0);
}

TEST_F(ControlPort, NothingToSendSucceedsWithoutSending) {
  EXPECT_TRUE(device->sendCPortBytes(5, nullptr));
  EXPECT_TRUE(device->sendCPortBytes(0, bytes.data()));
  EXPECT_TRUE(device->sendCPortBytes({}));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(ControlPort, AClosedDeviceFailsEvenWithNothingToSend) {
  device->close();
  EXPECT_FALSE(device->sendCPortBytes(5, nullptr));
  EXPECT_FALSE(device->sendCPortBytes(bytes));
  EXPECT_THAT(takeRequests(), IsEmpty());
}

TEST_F(ControlPort, AFailedChunkEndsTheSending) {
  int count = 0;
  driver.answer(VQ_Command::kSendCPortBytes, [&count](const VQ_Dispatch& record) {
    return ++count == 2 ? std::nullopt : ScriptedDriver::bytesOf(record);
  });
  EXPECT_FALSE(device->sendCPortBytes(bytes));
  EXPECT_THAT(takeRequests(), SizeIs(2));
}

TEST_F(ControlPort, TheStaticFormForwardsAndFailsForANullDevice) {
  EXPECT_TRUE(USBDevice::sendCPortBytesStatic(device.get(), bytes.data(), 300));
  EXPECT_THAT(takeRequests(), SizeIs(2));
  EXPECT_FALSE(USBDevice::sendCPortBytesStatic(nullptr, bytes.data(), 300));
}

}  // namespace
