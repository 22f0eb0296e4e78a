// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <array>
#include <numeric>

#include "device/testing/device_fixture.h"

namespace {

using testing::Each;
using testing::ElementsAreArray;

constexpr std::uint32_t kUntouched = 0xeeeeeeee;

// The driver's level of channel k is 100 + k.
class Levels : public OpenDeviceTest {
 protected:
  Levels() {
    levels.fill(kUntouched);
    std::vector<std::uint32_t> words(64);
    std::iota(words.begin(), words.end(), 100u);
    driver.answerWords(VQ_Command::kGetInLevels, words);
    driver.answerWords(VQ_Command::kGetOutLevels, words);
  }

  void expectCounting(std::size_t from, std::size_t count) const {
    for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(levels[from + i], 100 + i) << i;
  }
  void expect32Levels() const {
    expectCounting(0, 32);
    EXPECT_EQ(levels[32], kUntouched);
  }

  std::array<std::uint32_t, 40> levels;
};

TEST_F(Levels, TheInterfaceHas32InputLevels) {
  EXPECT_TRUE(device->getInLevels(levels));
  expect32Levels();
  levels.fill(kUntouched);
  EXPECT_TRUE(device->getInLevels(levels.data()));
  expect32Levels();
}

TEST_F(Levels, TheInterfaceHas32OutputLevels) {
  EXPECT_TRUE(device->getOutLevels(levels));
  expect32Levels();
  levels.fill(kUntouched);
  EXPECT_TRUE(device->getOutLevels(levels.data()));
  expect32Levels();
}

TEST_F(Levels, AShortSpanReceivesWhatFits) {
  EXPECT_TRUE(device->getInLevels(std::span(levels).first(3)));
  expectCounting(0, 3);
  EXPECT_EQ(levels[3], kUntouched);
}

TEST_F(Levels, AFailureLeavesTheLevels) {
  driver.shorten(VQ_Command::kGetInLevels, 259);
  driver.failAt(VQ_Command::kGetOutLevels);
  EXPECT_FALSE(device->getInLevels(levels));
  EXPECT_FALSE(device->getOutLevels(levels));
  EXPECT_THAT(levels, Each(kUntouched));
}

TEST_F(Levels, BothSidesFillOneRecord) {
  driver.answerWords(VQ_Command::kGetOutLevels, {7, 8});
  VQ_LevelInfo32 info;
  EXPECT_TRUE(device->readLevelInfoEx(info));
  EXPECT_EQ(info.inputs[0], 100u);
  EXPECT_EQ(info.inputs[31], 131u);
  EXPECT_EQ(info.outputs[0], 7u);
  EXPECT_EQ(info.outputs[1], 8u);
  const auto requests = takeRequests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].command(), VQ_Command::kGetInLevels);
  EXPECT_EQ(requests[1].command(), VQ_Command::kGetOutLevels);
}

TEST_F(Levels, BothSidesAreReadWithSuccessEvenWhenTheyFail) {
  driver.failAt(VQ_Command::kGetInLevels);
  driver.failAt(VQ_Command::kGetOutLevels);
  VQ_LevelInfo32 info;
  info.inputs.fill(kUntouched);
  info.outputs.fill(kUntouched);
  EXPECT_TRUE(device->readLevelInfoEx(info));
  EXPECT_THAT(info.inputs, Each(kUntouched));
  EXPECT_THAT(info.outputs, Each(kUntouched));
  device->close();
  EXPECT_TRUE(device->readLevelInfoEx(info));
}

TEST_F(Levels, TheLevelRecordIsTheFirst64Bytes) {
  std::vector<std::uint8_t> payload(256);
  std::iota(payload.begin(), payload.end(), std::uint8_t{0});
  driver.answerBytes(VQ_Command::kReadLevelInfo, payload);
  VQ_LevelInfo info;
  EXPECT_TRUE(device->readLevelInfo(info));
  payload.resize(64);
  EXPECT_THAT(info.bytes, ElementsAreArray(payload));
}

TEST_F(Levels, AFailedLevelRecordIsCleared) {
  VQ_LevelInfo info;
  info.bytes.fill(9);
  driver.shorten(VQ_Command::kReadLevelInfo, 259);
  EXPECT_FALSE(device->readLevelInfo(info));
  EXPECT_THAT(info.bytes, Each(0));
  info.bytes.fill(9);
  device->close();
  EXPECT_FALSE(device->readLevelInfo(info));
  EXPECT_THAT(info.bytes, Each(0));
}

// --- The sibling family, whose levels stand at the slots that the map uses ---

class OrbekLevels : public Levels {
 protected:
  // Two channels in the first two slots of each side.
  void plug(int product) {
    setProperty("idVendor", CFValue(32563));
    setProperty("idProduct", CFValue(product));
    record = {};
    record.configuration.numInputs = record.configuration.numOutputs = 2;
    record.map.setDefaults({});
    use();
  }

  // Makes the device open with `record` as its configuration and map.
  void use() {
    std::vector<std::uint8_t> payload(256);
    record.encode(payload);
    driver.answerBytes(VQ_Command::kGetConfigurationAndChannelMap, payload);
    reopen();
    levels.fill(kUntouched);
  }

  VQ_Orbek_ConfigAndMap record;
};

TEST_F(OrbekLevels, StandAmong8ClearedInputs) {
  plug(9);
  EXPECT_TRUE(device->getInLevels(levels));
  EXPECT_EQ(levels[0], 100u);
  EXPECT_EQ(levels[1], 101u);
  EXPECT_EQ(levels[2], 0u);
  EXPECT_EQ(levels[7], 0u);
  EXPECT_EQ(levels[8], kUntouched);
}

TEST_F(OrbekLevels, StandAmong32ClearedOutputs) {
  plug(9);
  EXPECT_TRUE(device->getOutLevels(levels));
  EXPECT_EQ(levels[0], 100u);
  EXPECT_EQ(levels[1], 101u);
  EXPECT_EQ(levels[2], 0u);
  EXPECT_EQ(levels[31], 0u);
  EXPECT_EQ(levels[32], kUntouched);
}

TEST_F(OrbekLevels, WithTheFirstTwoEntriesUnusedTheFirstLevelStandsInSlot2) {
  plug(8);
  record.map.inputs = {255, 255, 160, 255, 161, 255, 255, 255};
  use();
  EXPECT_TRUE(device->getInLevels(levels));
  EXPECT_THAT(std::span(levels).first(8), ElementsAreArray({0u, 0u, 100u, 0u, 101u, 0u, 0u, 0u}));
}

TEST_F(OrbekLevels, OnlyTheLowByteOfAnEntryCounts) {
  plug(8);
  record.map.inputs = {0xffffffff, 0x1ff, 0xffffff00, 255, 255, 255, 255, 255};
  use();
  EXPECT_TRUE(device->getInLevels(levels));
  EXPECT_THAT(std::span(levels).first(4), ElementsAreArray({0u, 0u, 100u, 0u}));
}

TEST_F(OrbekLevels, ChannelsBeyondTheConfigurationAreNotShown) {
  plug(8);
  record.map.inputs.fill(160);
  record.configuration.numInputs = 3;
  use();
  EXPECT_TRUE(device->getInLevels(levels));
  expectCounting(0, 3);
  EXPECT_EQ(levels[3], 0u);
}

TEST_F(OrbekLevels, InputsAndOutputsHaveTheirOwnCountAndMap) {
  plug(8);
  record.configuration.numInputs = 1;
  record.configuration.numOutputs = 3;
  record.map.outputs = {255, 32, 33, 0, 255, 255, 255, 255};
  use();
  EXPECT_TRUE(device->getInLevels(levels));
  EXPECT_THAT(std::span(levels).first(2), ElementsAreArray({100u, 0u}));
  EXPECT_TRUE(device->getOutLevels(levels));
  EXPECT_THAT(std::span(levels).first(5), ElementsAreArray({0u, 100u, 101u, 102u, 0u}));
}

TEST_F(OrbekLevels, LevelsBeyondTheLastSlotAreDropped) {
  for (const int product : {8, 9}) {
    plug(product);
    record.configuration.numInputs = record.configuration.numOutputs = 12;
    record.map.inputs.fill(160);
    record.map.outputs.fill(32);
    use();
    EXPECT_TRUE(device->getInLevels(levels));
    expectCounting(0, 8);  // slots past the map's entries carry nothing
    EXPECT_EQ(levels[8], kUntouched);

    const std::size_t outputSlots = product == 8 ? 8 : 6;
    EXPECT_TRUE(device->getOutLevels(levels));
    expectCounting(0, outputSlots);
    EXPECT_EQ(levels[outputSlots], 0u);
  }
}

TEST_F(OrbekLevels, AnAbsurdChannelCountIsCut) {
  plug(8);
  record.configuration.numInputs = record.configuration.numOutputs = 0xffffffff;
  record.map.inputs.fill(160);
  use();
  EXPECT_TRUE(device->getInLevels(levels));
  expectCounting(0, 8);
  EXPECT_TRUE(device->getOutLevels(levels));
}

TEST_F(OrbekLevels, AMapWithoutUsedEntriesShowsNothing) {
  plug(8);
  record.map.inputs.fill(255);
  use();
  EXPECT_TRUE(device->getInLevels(levels));
  EXPECT_THAT(std::span(levels).first(8), Each(0u));
}

TEST_F(OrbekLevels, AShortSpanIsNotOverrun) {
  plug(8);
  record.configuration.numInputs = 8;
  record.map.inputs.fill(160);
  use();
  EXPECT_TRUE(device->getInLevels(std::span(levels).first(3)));
  expectCounting(0, 3);
  EXPECT_EQ(levels[3], kUntouched);
  EXPECT_TRUE(device->getOutLevels(std::span<std::uint32_t>()));
}

TEST_F(OrbekLevels, AFailureLeavesTheLevels) {
  plug(8);
  driver.failAt(VQ_Command::kGetInLevels);
  EXPECT_FALSE(device->getInLevels(levels));
  EXPECT_THAT(levels, Each(kUntouched));
}

TEST_F(OrbekLevels, Product8OfAnotherVendorIsNoSibling) {
  plug(8);
  setProperty("idVendor", CFValue(0x7f21));
  use();
  EXPECT_TRUE(device->getInLevels(levels));
  expectCounting(0, 32);
}

}  // namespace
