// SPDX-License-Identifier: MIT
#include "protocol/records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "protocol/services.h"

namespace {

using Usage = std::array<bool, VQ_Orbek_ChannelMap::kUsageFlags>;

// 1, 2, 3, …: every field then has a value of its own.
std::vector<std::uint8_t> countingBytes(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

template <typename Record>
void expectsTheSameBytesBack() {
  const auto bytes = countingBytes(Record::kSize);
  std::vector<std::uint8_t> encoded(Record::kSize + 1, 0xee);
  Record::decode(bytes).encode(encoded);
  EXPECT_EQ(encoded.back(), 0xee);
  encoded.pop_back();
  EXPECT_EQ(encoded, bytes);
}

TEST(Records, EncodingGivesTheDecodedBytesBack) {
  expectsTheSameBytesBack<VQ_DeviceDescriptor>();
  expectsTheSameBytesBack<VQ_DeviceConfiguration>();
  expectsTheSameBytesBack<VQ_Orbek_ChannelMap>();
  expectsTheSameBytesBack<VQ_Orbek_ConfigAndMap>();
  expectsTheSameBytesBack<VQ_DigitalStatus>();
}

TEST(Records, AShortAreaDecodesToZerosAndTakesWhatFits) {
  EXPECT_EQ(VQ_Orbek_ConfigAndMap::decode({}), VQ_Orbek_ConfigAndMap{});
  EXPECT_EQ(VQ_DeviceConfiguration::decode(countingBytes(5)),
            (VQ_DeviceConfiguration{0x04030201, 0x05, 0, 0, 0}));

  std::vector<std::uint8_t> small(22);
  VQ_Orbek_ConfigAndMap::decode(countingBytes(84)).encode(small);
  EXPECT_EQ(small, countingBytes(22));
}

TEST(Records, TheDescriptorHasItsIdsAtBytes6And8And10) {
  const auto descriptor = VQ_DeviceDescriptor::decode(countingBytes(16));
  EXPECT_EQ(descriptor.first, 0x0201);
  EXPECT_EQ(descriptor.second, (std::array<std::uint16_t, 2>{0x0403, 0x0605}));
  EXPECT_EQ(descriptor.vendor, 0x0807);
  EXPECT_EQ(descriptor.product, 0x0a09);
  EXPECT_EQ(descriptor.release, 0x0c0b);
  EXPECT_EQ(descriptor.last, 0x100f0e0du);
}

TEST(Records, TheConfigurationHasItsChannelCountsInWords1And3) {
  std::vector<std::uint8_t> bytes(20);
  bytes[0] = 1;
  bytes[4] = 2;
  bytes[8] = 3;
  bytes[12] = 4;
  bytes[16] = 5;
  EXPECT_EQ(
      VQ_DeviceConfiguration::decode(bytes),
      (VQ_DeviceConfiguration{
          .sampleRate = 1, .numInputs = 2, .inputBits = 3, .numOutputs = 4, .outputBits = 5}));
}

TEST(Records, AConfigAndMapIsTheConfigurationFollowedByTheMap) {
  const auto bytes = countingBytes(84);
  const auto record = VQ_Orbek_ConfigAndMap::decode(bytes);
  EXPECT_EQ(record.configuration, VQ_DeviceConfiguration::decode(bytes));
  EXPECT_EQ(record.map.inputs[0], 0x18171615u);
  EXPECT_EQ(record.map.outputs[0], 0x38373635u);
}

TEST(Records, ADigitalStatusIsLockStateThenRate) {
  EXPECT_EQ(VQ_DigitalStatus::decode(countingBytes(8)),
            (VQ_DigitalStatus{.lockState = 0x04030201, .rate = 0x08070605}));
}

// --- Identity ---

template <typename Record>
Record interfaceWithRelease(std::uint16_t release) {
  Record record;
  record.vendor = 32545;
  record.product = 23826;
  record.release = release;
  return record;
}

template <typename Record>
class Identity : public testing::Test {};
using IdentityRecords = testing::Types<VQ_DeviceDescriptor, VIDPID>;
TYPED_TEST_SUITE(Identity, IdentityRecords);

TYPED_TEST(Identity, Release65535IgnoresTheRelease) {
  for (const int release : {0, 256, 65535}) {
    EXPECT_TRUE(interfaceWithRelease<TypeParam>(static_cast<std::uint16_t>(release))
                    .isDevice(32545, 23826, 65535));
  }
}

TYPED_TEST(Identity, Release256RequiresRelease256) {
  EXPECT_TRUE(interfaceWithRelease<TypeParam>(256).isDevice(32545, 23826, 256));
  EXPECT_FALSE(interfaceWithRelease<TypeParam>(257).isDevice(32545, 23826, 256));
  EXPECT_FALSE(interfaceWithRelease<TypeParam>(65535).isDevice(32545, 23826, 256));
}

TYPED_TEST(Identity, Release65534IsNoWildcard) {
  EXPECT_FALSE(interfaceWithRelease<TypeParam>(256).isDevice(32545, 23826, 65534));
}

TYPED_TEST(Identity, VendorAndProductMustBothMatch) {
  EXPECT_FALSE(interfaceWithRelease<TypeParam>(256).isDevice(32546, 23826, 65535));
  EXPECT_FALSE(interfaceWithRelease<TypeParam>(256).isDevice(32545, 23827, 65535));
  EXPECT_FALSE(interfaceWithRelease<TypeParam>(256).isDevice(32546, 23826, 256));
}

TEST(DeviceDescriptor, ClearingZeroesEveryByte) {
  auto descriptor = VQ_DeviceDescriptor::decode(countingBytes(16));
  descriptor.clear();
  std::vector<std::uint8_t> bytes(16, 0xee);
  descriptor.encode(bytes);
  EXPECT_EQ(bytes, std::vector<std::uint8_t>(16, 0));
}

// --- Channel maps ---

constexpr VIDPID kProduct8 = {kOrbekVendorId, kOrbekProduct8, 0x100};
constexpr VIDPID kOtherProduct = {kOrbekVendorId, 9, 0x100};
constexpr VIDPID kProduct8OfAnotherVendor = {0x7f21, kOrbekProduct8, 0x100};

VQ_Orbek_ChannelMap unusedMap() {
  VQ_Orbek_ChannelMap map;
  map.inputs.fill(VQ_Orbek_ChannelMap::kUnused);
  map.outputs.fill(VQ_Orbek_ChannelMap::kUnused);
  return map;
}

// The one flag that `code` marks, -1 for none, -2 for several.
int onlyFlag(const Usage& usage) {
  const auto count = std::count(usage.begin(), usage.end(), true);
  if (count != 1) return count == 0 ? -1 : -2;
  return static_cast<int>(std::find(usage.begin(), usage.end(), true) - usage.begin());
}

int inputFlagOf(std::uint32_t code, const VIDPID& device) {
  auto map = unusedMap();
  map.inputs[3] = code;
  Usage inputs;
  Usage outputs;
  inputs.fill(true);
  outputs.fill(true);
  map.getUsageList(inputs, outputs, device);
  EXPECT_EQ(onlyFlag(outputs), -1);
  return onlyFlag(inputs);
}

int outputFlagOf(std::uint32_t code, const VIDPID& device) {
  auto map = unusedMap();
  map.outputs[3] = code;
  Usage inputs;
  Usage outputs;
  inputs.fill(true);
  outputs.fill(true);
  map.getUsageList(inputs, outputs, device);
  EXPECT_EQ(onlyFlag(inputs), -1);
  return onlyFlag(outputs);
}

TEST(ChannelMap, TheDefaultsAreTheFirstPairOfEachSideOnEveryDevice) {
  for (const VIDPID& device : {kProduct8, kOtherProduct}) {
    auto expected = unusedMap();
    expected.inputs[0] = 160;
    expected.inputs[1] = 161;
    expected.outputs[0] = 32;
    expected.outputs[1] = 33;
    VQ_Orbek_ChannelMap map;
    map.setDefaults(device);
    EXPECT_EQ(map, expected);
  }
}

TEST(ChannelMap, Product8ListsThePairThenEightInputs) {
  EXPECT_EQ(inputFlagOf(160, kProduct8), 0);
  EXPECT_EQ(inputFlagOf(161, kProduct8), 1);
  for (int n = 0; n < 8; ++n) {
    EXPECT_EQ(inputFlagOf(static_cast<std::uint32_t>(128 + n), kProduct8), 2 + n);
  }
}

TEST(ChannelMap, Product8ListsTwoPairsThenEightOutputs) {
  EXPECT_EQ(outputFlagOf(32, kProduct8), 0);
  EXPECT_EQ(outputFlagOf(33, kProduct8), 1);
  EXPECT_EQ(outputFlagOf(70, kProduct8), 2);
  EXPECT_EQ(outputFlagOf(71, kProduct8), 3);
  for (int n = 0; n < 8; ++n) {
    EXPECT_EQ(outputFlagOf(static_cast<std::uint32_t>(n), kProduct8), 4 + n);
  }
}

TEST(ChannelMap, OtherDevicesListThePairThenFourInputsThenTheLastPair) {
  EXPECT_EQ(inputFlagOf(160, kOtherProduct), 0);
  EXPECT_EQ(inputFlagOf(161, kOtherProduct), 1);
  for (int n = 0; n < 4; ++n) {
    EXPECT_EQ(inputFlagOf(static_cast<std::uint32_t>(128 + n), kOtherProduct), 2 + n);
  }
  EXPECT_EQ(inputFlagOf(192, kOtherProduct), 6);
  EXPECT_EQ(inputFlagOf(193, kOtherProduct), 7);
}

TEST(ChannelMap, OtherDevicesListThePairThenFourOutputs) {
  EXPECT_EQ(outputFlagOf(32, kOtherProduct), 0);
  EXPECT_EQ(outputFlagOf(33, kOtherProduct), 1);
  for (int n = 0; n < 4; ++n) {
    EXPECT_EQ(outputFlagOf(static_cast<std::uint32_t>(n), kOtherProduct), 2 + n);
  }
}

TEST(ChannelMap, Code134MarksNoInputOnADeviceOtherThanProduct8) {
  EXPECT_EQ(inputFlagOf(134, kOtherProduct), -1);
  EXPECT_EQ(inputFlagOf(134, kProduct8OfAnotherVendor), -1);
}

TEST(ChannelMap, CodesThatTheDeviceDoesNotHaveMarkNothing) {
  for (const std::uint32_t code : {127u, 136u, 159u, 162u, 192u, 193u, 255u, 0xffffffffu}) {
    EXPECT_EQ(inputFlagOf(code, kProduct8), -1) << code;
  }
  for (const std::uint32_t code : {127u, 132u, 162u, 191u, 194u, 255u, 0xffffffffu}) {
    EXPECT_EQ(inputFlagOf(code, kOtherProduct), -1) << code;
  }
  for (const std::uint32_t code : {8u, 31u, 34u, 69u, 72u, 255u}) {
    EXPECT_EQ(outputFlagOf(code, kProduct8), -1) << code;
  }
  for (const std::uint32_t code : {4u, 31u, 34u, 70u, 71u, 255u}) {
    EXPECT_EQ(outputFlagOf(code, kOtherProduct), -1) << code;
  }
}

TEST(ChannelMap, EveryPositionOfTheMapMarks) {
  VQ_Orbek_ChannelMap map;
  std::iota(map.inputs.begin(), map.inputs.end(), 128u);
  std::iota(map.outputs.begin(), map.outputs.end(), 0u);
  bool inputs[16];
  bool outputs[16];
  std::fill_n(inputs, 16, true);
  std::fill_n(outputs, 16, true);
  map.getUsageList(inputs, outputs, kProduct8);
  for (int flag = 0; flag < 16; ++flag) {
    EXPECT_EQ(inputs[flag], flag >= 2 && flag < 10) << flag;
    EXPECT_EQ(outputs[flag], flag >= 4 && flag < 12) << flag;
  }
}

TEST(ChannelMap, AShortFlagListIsFilledAsFarAsItGoes) {
  auto map = unusedMap();
  map.inputs = {160, 128, 129, 130, 131, 132, 133, 134};
  std::array<bool, 20> flags;
  flags.fill(true);
  map.getUsageList(std::span(flags).first(3), {}, kProduct8);
  EXPECT_TRUE(flags[0]);
  EXPECT_FALSE(flags[1]);
  EXPECT_TRUE(flags[2]);
  EXPECT_EQ(std::count(flags.begin() + 3, flags.end(), true), 17);
  flags.fill(false);
  map.getUsageList(std::span(flags).first(3), {}, kProduct8);
  EXPECT_EQ(std::count(flags.begin() + 3, flags.end(), true), 0);
}

TEST(ChannelMap, FlagsBeyondTheSixteenthAreLeftAlone) {
  std::array<bool, 17> flags;
  flags.fill(true);
  unusedMap().getUsageList(flags, {}, kProduct8);
  EXPECT_EQ(std::count(flags.begin(), flags.end(), true), 1);
  EXPECT_TRUE(flags[16]);
}

TEST(ChannelMap, IsValidWithCodesOfTheDeviceAndUnusedSlots) {
  EXPECT_TRUE(unusedMap().isValid(kOtherProduct));
  auto map = unusedMap();
  map.inputs[7] = 193;
  map.outputs[7] = 33;
  EXPECT_TRUE(map.isValid(kOtherProduct));
}

TEST(ChannelMap, IsInvalidWithOneCodeThatTheDeviceDoesNotHaveOnEitherSide) {
  auto map = unusedMap();
  map.inputs[7] = 193;
  EXPECT_FALSE(map.isValid(kProduct8));
  map = unusedMap();
  map.outputs[7] = 70;
  EXPECT_FALSE(map.isValid(kOtherProduct));
}

// --- Option values ---

constexpr VqAjExtData kSevens = {.mFirstWord = 7,
                                 .mClockSource = 7,
                                 .mUSB1Mode = 7,
                                 .mDigitalOutMode = 7,
                                 .mDigitalOutSelector = 7,
                                 .mFifthWord = 7,
                                 .mSixthWord = 7,
                                 .mSeventhWord = 7,
                                 .mEighthWord = 7,
                                 .mNinthWord = 7};

TEST(ExtData, TheDefaultsLeaveTheFirstWordAlone) {
  VqAjExtData data = kSevens;
  data.setDefaults();
  EXPECT_EQ(data,
            (VqAjExtData{.mFirstWord = 7, .mSixthWord = 1, .mSeventhWord = 2, .mNinthWord = 1}));
}

TEST(ExtData, ValidatingResetsTheThreeChoicesAndKeepsTheRest) {
  VqAjExtData data = kSevens;
  data.validate();
  VqAjExtData expected = kSevens;
  expected.mClockSource = 0;
  expected.mUSB1Mode = 0;
  expected.mDigitalOutMode = 0;
  EXPECT_EQ(data, expected);
}

TEST(ExtData, ValidatingTurnsAUsb1ModeOf2Into0AndKeepsASelectorOf7) {
  VqAjExtData data;
  data.mUSB1Mode = 2;
  data.mDigitalOutSelector = 7;
  data.validate();
  EXPECT_EQ(data.mUSB1Mode, 0u);
  EXPECT_EQ(data.mDigitalOutSelector, 7u);
}

TEST(ExtData, ValidatingKeepsChoicesOf1) {
  VqAjExtData data;
  data.mClockSource = 1;
  data.mUSB1Mode = 1;
  data.mDigitalOutMode = 1;
  const VqAjExtData before = data;
  data.validate();
  EXPECT_EQ(data, before);
}

TEST(ExtData, ValidatingResetsChoicesOf2) {
  VqAjExtData data;
  data.mClockSource = 2;
  data.mDigitalOutMode = 2;
  data.validate();
  EXPECT_EQ(data, VqAjExtData{});
}

// --- Registers and routings ---

TEST(CodecRegister, IsThree16BitNumbers) {
  const CodecRegister codecRegister = {0x0201, 0x0403, 0x0605};
  std::array<std::uint8_t, 7> bytes{};
  codecRegister.encode(bytes);
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 7>{1, 2, 3, 4, 5, 6, 0}));
  EXPECT_EQ(CodecRegister::decode(bytes), codecRegister);
}

TEST(RoutingRecord, IsThreeWords) {
  const RoutingRecord routing = {1, -2, 0x04030201};
  std::array<std::uint8_t, 13> bytes{};
  routing.encode(bytes);
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 13>{1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 1, 2, 3, 4}));
  EXPECT_EQ(RoutingRecord::decode(bytes), routing);
}

}  // namespace
