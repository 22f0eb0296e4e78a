// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <numeric>

#include "device/testing/device_fixture.h"

namespace {

using testing::Each;

std::vector<std::uint32_t> countingWords(std::size_t count) {
  std::vector<std::uint32_t> words(count);
  std::iota(words.begin(), words.end(), 1u);
  return words;
}

// Words 1 to 21.
VQ_Orbek_ConfigAndMap countingRecord() {
  return {{1, 2, 3, 4, 5}, {{6, 7, 8, 9, 10, 11, 12, 13}, {14, 15, 16, 17, 18, 19, 20, 21}}};
}

using ChannelMaps = OpenDeviceTest;

TEST_F(ChannelMaps, AMapIsEightInputsThenEightOutputs) {
  driver.answerWords(VQ_Command::kGetChannelMap, countingWords(64));
  VQ_Orbek_ChannelMap map;
  EXPECT_TRUE(device->getChannelMap(map));
  EXPECT_EQ(map, (VQ_Orbek_ChannelMap{{1, 2, 3, 4, 5, 6, 7, 8}, {9, 10, 11, 12, 13, 14, 15, 16}}));
}

TEST_F(ChannelMaps, ReadingTheRecordLeavesTheKeptCopy) {
  driver.answerWords(VQ_Command::kGetConfigurationAndChannelMap, countingWords(64));
  VQ_Orbek_ConfigAndMap record;
  EXPECT_TRUE(device->getConfigurationAndChannelMap(record));
  EXPECT_EQ(record, countingRecord());
  EXPECT_EQ(device->configurationAndMap(), VQ_Orbek_ConfigAndMap{});
}

TEST_F(ChannelMaps, UpdatingReadsTheRecordIntoTheKeptCopy) {
  driver.answerWords(VQ_Command::kGetConfigurationAndChannelMap, countingWords(64));
  EXPECT_TRUE(device->updateOrbekConfigAndMap());
  EXPECT_EQ(device->configurationAndMap(), countingRecord());
}

TEST_F(ChannelMaps, AFailedUpdateLeavesTheKeptCopy) {
  driver.answerWords(VQ_Command::kGetConfigurationAndChannelMap, countingWords(64));
  ASSERT_TRUE(device->updateOrbekConfigAndMap());
  driver.failAt(VQ_Command::kGetConfigurationAndChannelMap);
  EXPECT_FALSE(device->updateOrbekConfigAndMap());
  EXPECT_EQ(device->configurationAndMap(), countingRecord());
}

TEST_F(ChannelMaps, SettingTheRecordReturnsAndKeepsTheDevicesRecord) {
  driver.answerWords(VQ_Command::kSetConfigurationAndChannelMap, countingWords(64));
  VQ_Orbek_ConfigAndMap actual;
  EXPECT_TRUE(device->setConfigurationAndChannelMap({}, actual));
  EXPECT_EQ(actual, countingRecord());
  EXPECT_EQ(device->configurationAndMap(), countingRecord());
}

TEST_F(ChannelMaps, AFailedSettingLeavesTheArgumentAndTheKeptCopy) {
  driver.shorten(VQ_Command::kSetConfigurationAndChannelMap, 259);
  VQ_Orbek_ConfigAndMap actual = countingRecord();
  EXPECT_FALSE(device->setConfigurationAndChannelMap({{9}, {}}, actual));
  EXPECT_EQ(actual, countingRecord());
  EXPECT_EQ(device->configurationAndMap(), VQ_Orbek_ConfigAndMap{});
}

// --- Name ---

class DeviceName : public OpenDeviceTest {
 protected:
  DeviceName() { name.fill('-'); }

  void answerName(const std::string& text) {
    std::vector<std::uint8_t> payload(256, '#');
    std::fill_n(payload.begin(), 32, std::uint8_t{0});
    std::copy(text.begin(), text.end(), payload.begin());
    driver.answerBytes(VQ_Command::kGetDeviceName, payload);
  }

  std::array<char, 40> name;
};

TEST_F(DeviceName, AFailedDispatchGivesAnEmptyText) {
  driver.failAt(VQ_Command::kGetDeviceName);
  EXPECT_FALSE(device->getOrbekDeviceName(name));
  EXPECT_STREQ(name.data(), "");

  name.fill('-');
  EXPECT_FALSE(device->getOrbekDeviceName(name.data()));
  EXPECT_STREQ(name.data(), "");
  EXPECT_EQ(name[1], '-');
}

TEST_F(DeviceName, APointerReceives32Bytes) {
  answerName("Studio");
  EXPECT_TRUE(device->getOrbekDeviceName(name.data()));
  EXPECT_STREQ(name.data(), "Studio");
  EXPECT_EQ(name[31], 0);
  EXPECT_EQ(name[32], '-');
}

TEST_F(DeviceName, AFullNameFillsAPointersBytesWithoutATerminator) {
  answerName(std::string(32, 'n'));
  EXPECT_TRUE(device->getOrbekDeviceName(name.data()));
  EXPECT_EQ(std::string(name.data(), 33), std::string(32, 'n') + "-");
}

TEST_F(DeviceName, ASpanReceivesTheNameTerminated) {
  answerName(std::string(32, 'n'));
  EXPECT_TRUE(device->getOrbekDeviceName(name));
  EXPECT_EQ(std::string(name.data()), std::string(32, 'n'));
  EXPECT_EQ(name[33], '-');
}

TEST_F(DeviceName, AShortSpanCutsTheName) {
  answerName("Studio");
  EXPECT_TRUE(device->getOrbekDeviceName(std::span(name).first(4)));
  EXPECT_STREQ(name.data(), "Stu");
  EXPECT_EQ(name[4], '-');
  EXPECT_TRUE(device->getOrbekDeviceName(std::span<char>()));
}

TEST_F(DeviceName, AShortAnswerIsAccepted) {
  answerName("Studio");
  driver.shorten(VQ_Command::kGetDeviceName, 16);
  EXPECT_TRUE(device->getOrbekDeviceName(name.data()));
  EXPECT_STREQ(name.data(), "Studio");
}

TEST_F(DeviceName, OnlyANulEndsTheName) {
  answerName("Talvo \x01");
  EXPECT_TRUE(device->getOrbekDeviceName(name));
  EXPECT_STREQ(name.data(), "Talvo \x01");
  takeRequests();
  EXPECT_TRUE(device->setOrbekDeviceName("\0former"));
  EXPECT_THAT(onlyRequest().payload(), Each(0));
}

TEST_F(DeviceName, ANameOf33CharactersIsSentAs32) {
  const std::string longName = std::string(32, 'n') + "X";
  EXPECT_TRUE(device->setOrbekDeviceName(longName.c_str()));
  auto record = onlyRequest();
  EXPECT_EQ(std::count(record.payload().begin(), record.payload().end(), 'n'), 32);
  EXPECT_EQ(record.payload()[32], 0);
  EXPECT_TRUE(device->setOrbekDeviceName(std::string_view(longName)));
  EXPECT_EQ(onlyRequest().bytes, record.bytes);
}

TEST_F(DeviceName, AnUnterminatedNameOf32CharactersIsNotReadFurther) {
  const std::vector<char> unterminated(32, 'n');
  EXPECT_TRUE(device->setOrbekDeviceName(unterminated.data()));
  EXPECT_EQ(onlyRequest().payload()[31], 'n');
}

TEST_F(DeviceName, AShortNameIsPaddedWithZeros) {
  EXPECT_TRUE(device->setOrbekDeviceName("Studio"));
  const auto record = onlyRequest();
  EXPECT_EQ(record.payload()[5], 'o');
  EXPECT_EQ(std::count(record.payload().begin() + 6, record.payload().end(), 0), 250);
}

// --- Descriptor ---

using Descriptor = OpenDeviceTest;

TEST_F(Descriptor, IsReadWithItsControlCode) {
  driver.answerBytes(VQ_Command::kGetDeviceDescriptor,
                     {1, 0, 2, 0, 0, 0, 0x21, 0x7f, 0x12, 0x5d, 0x00, 0x01, 3, 0, 0, 0});
  VQ_DeviceDescriptor descriptor;
  EXPECT_TRUE(device->getDeviceDescriptor(descriptor));
  EXPECT_TRUE(descriptor.isDevice(0x7f21, 0x5d12, 0x100));
  EXPECT_EQ(descriptor.first, 1);
  EXPECT_EQ(descriptor.last, 3u);
}

TEST_F(Descriptor, IsClearedOnFailure) {
  VQ_DeviceDescriptor descriptor;
  descriptor.vendor = 0x7f21;
  driver.failAt(VQ_Command::kGetDeviceDescriptor);
  EXPECT_FALSE(device->getDeviceDescriptor(descriptor));
  EXPECT_EQ(descriptor, VQ_DeviceDescriptor{});

  descriptor.vendor = 0x7f21;
  device->close();
  EXPECT_FALSE(device->getDeviceDescriptor(descriptor));
  EXPECT_EQ(descriptor, VQ_DeviceDescriptor{});
}

}  // namespace
