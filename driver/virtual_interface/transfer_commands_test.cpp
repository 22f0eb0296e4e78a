// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <numeric>

#include "driver/virtual_interface/command_test.h"

namespace driver {
namespace {

using testing::ElementsAre;

class TransferCommands : public CommandTest {
 protected:
  bool sendControlPortBytes(std::vector<std::uint8_t> bytes) {
    auto record = request(kSendCPortBytes, {});
    record.payload()[0] = static_cast<std::uint8_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), record.payload().begin() + 1);
    return answer(record).has_value();
  }
};

TEST_F(TransferCommands, SuspendingAnswersANonZeroWord) {
  EXPECT_EQ(word(kSuspendStreaming), 1u);
  EXPECT_TRUE(model().streamingSuspended);
}

TEST_F(TransferCommands, ResumingEndsTheSuspension) {
  answer(kSuspendStreaming);
  EXPECT_TRUE(answer(kResumeStreaming));
  EXPECT_FALSE(model().streamingSuspended);
}

TEST_F(TransferCommands, PreparingAFirmwareUpdateSuspendsStreaming) {
  EXPECT_TRUE(answer(kPrepareFirmwareUpdate));
  EXPECT_TRUE(model().preparedForFirmwareUpdate);
  EXPECT_TRUE(model().streamingSuspended);
}

TEST_F(TransferCommands, ConnectingEndsSuspensionAndPreparation) {
  answer(kPrepareFirmwareUpdate);
  interface_.connected();
  EXPECT_FALSE(model().preparedForFirmwareUpdate);
  EXPECT_FALSE(model().streamingSuspended);
}

TEST_F(TransferCommands, ControlPortBytesAreKeptInOrder) {
  EXPECT_TRUE(sendControlPortBytes({1, 2, 3}));
  EXPECT_TRUE(sendControlPortBytes({4}));
  EXPECT_THAT(model().controlPort.latest, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(model().controlPort.received, 4u);
}

TEST_F(TransferCommands, AFullControlPortRecordHolds255Bytes) {
  std::vector<std::uint8_t> bytes(255);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  EXPECT_TRUE(sendControlPortBytes(bytes));
  EXPECT_EQ(model().controlPort.latest, bytes);
}

TEST_F(TransferCommands, AnEmptyControlPortRecordIsRefused) {
  EXPECT_FALSE(sendControlPortBytes({}));
}

TEST_F(TransferCommands, TheControlPortForgetsItsOldestBytes) {
  for (int i = 0; i < 20; ++i) sendControlPortBytes(std::vector<std::uint8_t>(255, 1));
  sendControlPortBytes({9});
  EXPECT_EQ(model().controlPort.latest.size(), 4096u);
  EXPECT_EQ(model().controlPort.latest.back(), 9u);
  EXPECT_EQ(model().controlPort.received, 20u * 255 + 1);
}

TEST_F(TransferCommands, ReenumerationLeavesTheBusInsteadOfAnswering) {
  auto record = request(kReenumerateDevice, {});
  EXPECT_EQ(interface_.answer(record), Outcome::left);
}

}  // namespace
}  // namespace driver
