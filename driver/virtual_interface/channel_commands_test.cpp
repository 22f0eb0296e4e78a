// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <utility>

#include "driver/virtual_interface/command_test.h"

namespace driver {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

class ChannelCommands : public CommandTest {
 protected:
  // Sixteen map words after `first` others.
  static VQ_Dispatch withMap(VQ_Dispatch record, std::size_t first,
                             const VQ_Orbek_ChannelMap& map) {
    for (std::size_t i = 0; i < 8; ++i) {
      record.setWord(first + i, map.inputs[i]);
      record.setWord(first + 8 + i, map.outputs[i]);
    }
    return record;
  }
};

constexpr VQ_Orbek_ChannelMap kOtherMap = {{192, 193, 255, 255, 255, 255, 255, 131},
                                           {3, 2, 1, 0, 255, 255, 255, 255}};
constexpr std::initializer_list<std::uint32_t> kDefaultMapWords = {
    160, 161, 128, 129, 130, 131, 255, 255, 32, 33, 0, 1, 255, 255, 255, 255};

TEST_F(ChannelCommands, WithoutAMeterAllLevelsAreZero) {
  auto record = request(kGetInLevels, {});
  for (std::size_t i = 0; i < 63; ++i) record.setWord(i, 0xEEEEEEEE);
  const auto answered = answer(record);
  ASSERT_TRUE(answered);
  for (std::size_t i = 0; i < 63; ++i) EXPECT_EQ(answered->word(i), 0u) << i;
  EXPECT_THAT(words(kGetOutLevels, 32), Each(0));
  EXPECT_THAT(words(kReadLevelInfo, 16), Each(0));
}

// Counts what is taken: the first levels are 1 to 6 and 11 to 14, the next are 100 more.
class CountingMeter final : public LevelMeter {
 public:
  InputLevels takeInputLevels() override {
    const std::uint32_t more = std::exchange(inputs_, inputs_ + 100);
    return {1 + more, 2 + more, 3 + more, 4 + more, 5 + more, 6 + more};
  }
  OutputLevels takeOutputLevels() override {
    const std::uint32_t more = std::exchange(outputs_, outputs_ + 100);
    return {11 + more, 12 + more, 13 + more, 14 + more};
  }

 private:
  std::uint32_t inputs_ = 0;
  std::uint32_t outputs_ = 0;
};

TEST_F(ChannelCommands, LevelsAreTakenFromTheMeter) {
  CountingMeter meter;
  interface_.setMeter(&meter);
  EXPECT_THAT(words(kGetInLevels, 7), ElementsAre(1, 2, 3, 4, 5, 6, 0));
  EXPECT_THAT(words(kGetOutLevels, 5), ElementsAre(11, 12, 13, 14, 0));
  EXPECT_THAT(words(kReadLevelInfo, 12),
              ElementsAre(101, 102, 103, 104, 105, 106, 0, 0, 111, 112, 113, 114));
  interface_.setMeter(nullptr);
  EXPECT_THAT(words(kGetInLevels, 6), Each(0));
}

TEST_F(ChannelCommands, TheDefaultMapListsAllChannels) {
  EXPECT_THAT(words(kGetChannelMap, 16), ElementsAreArray(kDefaultMapWords));
}

TEST_F(ChannelCommands, AMapIsSetAndReadBack) {
  EXPECT_TRUE(answer(withMap(request(kSetChannelMap, {}), 0, kOtherMap)));
  EXPECT_THAT(words(kGetChannelMap, 16),
              ElementsAre(192, 193, 255, 255, 255, 255, 255, 131, 3, 2, 1, 0, 255, 255, 255, 255));
}

TEST_F(ChannelCommands, AMapWithACodeThatTheDeviceLacksAnswersTheCurrentOne) {
  auto map = kOtherMap;
  map.inputs[7] = 134;
  const auto answered = answer(withMap(request(kSetChannelMap, {}), 0, map));
  ASSERT_TRUE(answered);
  EXPECT_EQ(answered->word(0), 160u);
  map = kOtherMap;
  map.outputs[0] = 70;
  EXPECT_TRUE(answer(withMap(request(kSetChannelMap, {}), 0, map)));
  EXPECT_THAT(words(kGetChannelMap, 16), ElementsAreArray(kDefaultMapWords));
}

TEST_F(ChannelCommands, TheLargerSiblingHasMoreCodes) {
  interface_.change([](Model& model) {
    model.identity.vendorId = 0x7F33;
    model.identity.productId = 8;
  });
  auto map = kDefaultChannelMap;
  map.inputs[7] = 134;
  map.outputs[7] = 71;
  EXPECT_TRUE(answer(withMap(request(kSetChannelMap, {}), 0, map)));
  EXPECT_EQ(model().channelMap, map);
  map.inputs[0] = 192;  // which the others have
  EXPECT_TRUE(answer(withMap(request(kSetChannelMap, {}), 0, map)));
  EXPECT_NE(model().channelMap, map);
}

TEST_F(ChannelCommands, ConfigurationAndMapAreReadTogether) {
  EXPECT_THAT(words(kGetConfigurationAndChannelMap, 21),
              ElementsAre(48000, 6, 24, 4, 24, 160, 161, 128, 129, 130, 131, 255, 255, 32, 33, 0, 1,
                          255, 255, 255, 255));
}

TEST_F(ChannelCommands, ConfigurationAndMapAreSetTogether) {
  const auto answered =
      answer(withMap(request(kSetConfigurationAndChannelMap, {96000, 6, 24, 4, 24}), 5, kOtherMap));
  ASSERT_TRUE(answered);
  EXPECT_EQ(answered->word(0), 96000u);
  EXPECT_EQ(answered->word(5), 192u);
  EXPECT_THAT(words(kGetConfigurationAndChannelMap, 6), ElementsAre(96000, 6, 24, 4, 24, 192));
}

TEST_F(ChannelCommands, AMapThatDoesNotFitLeavesTheConfigurationAlone) {
  auto map = kOtherMap;
  map.inputs[0] = 1;
  const auto answered =
      answer(withMap(request(kSetConfigurationAndChannelMap, {96000, 6, 24, 4, 24}), 5, map));
  ASSERT_TRUE(answered);
  EXPECT_EQ(answered->word(0), 48000u);
  EXPECT_EQ(answered->word(5), 160u);
}

TEST_F(ChannelCommands, AConfigurationThatDoesNotFitLeavesTheMapAlone) {
  const auto answered =
      answer(withMap(request(kSetConfigurationAndChannelMap, {96000, 6, 16, 4, 24}), 5, kOtherMap));
  ASSERT_TRUE(answered);
  EXPECT_EQ(answered->word(0), 48000u);
  EXPECT_EQ(answered->word(5), 160u);
}

TEST_F(ChannelCommands, TheDeviceNameIsSetAndReadBack) {
  auto record = request(kSetDeviceName, {});
  const std::string_view name = "Studio B";
  std::copy(name.begin(), name.end(), record.payload().begin());
  EXPECT_TRUE(answer(record));
  const auto answered = answer(kGetDeviceName);
  ASSERT_TRUE(answered);
  EXPECT_STREQ(reinterpret_cast<const char*>(answered->payload().data()), "Studio B");
}

TEST_F(ChannelCommands, ADeviceNameOf32BytesLosesTheLast) {
  auto record = request(kSetDeviceName, {});
  std::fill_n(record.payload().begin(), 32, std::uint8_t{'x'});
  EXPECT_TRUE(answer(record));
  const auto answered = answer(kGetDeviceName);
  ASSERT_TRUE(answered);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(answered->payload().data())),
            std::string(31, 'x'));
}

}  // namespace
}  // namespace driver
