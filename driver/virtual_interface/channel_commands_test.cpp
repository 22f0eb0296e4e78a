// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

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

TEST_F(ChannelCommands, InputLevelsFollowTheRouting) {
  digitalInput(kLockValid, 48000);
  EXPECT_THAT(words(kGetInLevels, 7),
              ElementsAre(0x400000, 0x200000, 0x100000, 0x080000, 0x600000, 0x300000, 0));
  answer(kSetRouting, {1, 0, 2});
  EXPECT_THAT(words(kGetInLevels, 2), ElementsAre(0x600000, 0x300000));
}

TEST_F(ChannelCommands, ADigitalInputWithoutAValidSignalIsSilent) {
  EXPECT_THAT(words(kGetInLevels, 6), ElementsAre(0x400000, 0x200000, 0x100000, 0x080000, 0, 0));
}

TEST_F(ChannelCommands, OutputLevelsShowWhatIsRoutedThere) {
  EXPECT_THAT(words(kGetOutLevels, 5), ElementsAre(0, 0, 0, 0, 0));
  answer(kSetRouting, {0, 1, 3});  // input channels 3/4
  EXPECT_THAT(words(kGetOutLevels, 5), ElementsAre(0, 0, 0x100000, 0x080000, 0));
}

TEST_F(ChannelCommands, ThirtyTwoLevelsAreAnswered) {
  auto record = request(kGetInLevels, {});
  for (std::size_t i = 0; i < 64; ++i) record.setWord(i, 0xEEEEEEEE);
  const auto answered = answer(record);
  ASSERT_TRUE(answered);
  for (std::size_t i = 6; i < 32; ++i) EXPECT_EQ(answered->word(i), 0u) << i;
}

TEST_F(ChannelCommands, TheLevelRecordHoldsInputsThenOutputs) {
  answer(kSetRouting, {0, 0, 2});  // input channels 1/2 on the line outputs
  EXPECT_THAT(words(kReadLevelInfo, 12), ElementsAre(0x400000, 0x200000, 0x100000, 0x080000, 0, 0,
                                                     0, 0, 0x400000, 0x200000, 0, 0));
}

TEST_F(ChannelCommands, NothingIsMeteredWhileStreamingIsSuspended) {
  answer(kSuspendStreaming);
  EXPECT_THAT(words(kGetInLevels, 32), Each(0));
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
