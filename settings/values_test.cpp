// SPDX-License-Identifier: MIT
#include "settings/osx_asio_registry.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <numeric>

#include "platform/files/memory/memory_files.h"
#include "platform/preferences/memory/memory_preferences.h"

namespace {

using Operations = std::vector<std::string>;
using Getter = bool (OSXAsioRegistry::*)(std::uint32_t&) const;
using Setter = void (OSXAsioRegistry::*)(std::uint32_t);
using Id = std::optional<std::string_view>;

// A member before the store, so that the store finds an empty platform.
struct EmptyPlatform {
  EmptyPlatform() {
    memory_preferences::reset();
    memory_files::reset();
  }
};

class Store : public testing::Test {
 protected:
  void put(std::string_view key, const CFValue& value) {
    memory_preferences::storeFromOutside(key, value, store.getApplicationId());
    CFPreferencesAppSynchronize(store.getApplicationId());
  }
  std::optional<CFValue> stored(std::string_view key) {
    const CFDictionary values = memory_preferences::storedValues(store.getApplicationId());
    const CFValue* value = CFDictionaryGetValue(values, key);
    return value ? std::optional(*value) : std::nullopt;
  }

  EmptyPlatform platform;
  OSXAsioRegistry store{Id("test")};
};

// --- Life cycle ---

TEST_F(Store, AnIdentifierIsFollowedByHal) {
  EXPECT_EQ(OSXAsioRegistry(Id("com.example.x")).getApplicationId(), "com.example.x.hal");
  EXPECT_EQ(OSXAsioRegistry(Id("")).getApplicationId(), ".hal");
}

TEST_F(Store, WithoutAnIdentifierItIsTheVendorsStore) {
  EXPECT_EQ(OSXAsioRegistry(std::nullopt).getApplicationId(), VENDOR_HAL_DOMAIN);
}

TEST_F(Store, AStoreByNameIsTheInterfacesStore) {
  EXPECT_EQ(OSXAsioRegistry("Test").getApplicationId(), DEVICE_HAL_DOMAIN);
}

TEST_F(Store, BothIdentifiersEndInHal) {
  EXPECT_TRUE(DEVICE_HAL_DOMAIN.ends_with(".hal"));
  EXPECT_TRUE(VENDOR_HAL_DOMAIN.ends_with(".hal"));
  EXPECT_NE(DEVICE_HAL_DOMAIN, VENDOR_HAL_DOMAIN);
}

TEST_F(Store, AStoreByIdentifierRecognisesThisVersion) {
  EXPECT_FALSE(store.getVersionCurrent());
  for (const auto& [mark, isCurrent] :
       {std::pair<CFValue, bool>("1.0", true), {"1.00", false}, {"", false}, {1.0, false}}) {
    put("Version", mark);
    const OSXAsioRegistry other(Id("test"));
    EXPECT_EQ(other.getVersionCurrent(), isCurrent);
  }
}

TEST_F(Store, AStoreByIdentifierImportsNoFile) {
  EXPECT_EQ(memory_files::operations(), Operations{});
  EXPECT_TRUE(store.getStorageName().isEmpty());
}

TEST_F(Store, ADestroyedStoreStoresTheVersion) {
  { const OSXAsioRegistry other(Id("other")); }
  EXPECT_EQ(memory_preferences::storedValues("other.hal"), (CFDictionary{{"Version", "1.0"}}));
  EXPECT_EQ(memory_preferences::operations(), (Operations{"set Version", "synchronize"}));
}

TEST_F(Store, StoreSynchronisesAndReturnsTheResult) {
  EXPECT_TRUE(store.store());
  EXPECT_EQ(memory_preferences::operations(), (Operations{"synchronize"}));
  memory_preferences::failNextSynchronize();
  EXPECT_FALSE(store.store());
}

TEST_F(Store, AfterAFailedSynchroniseTheNextStoresTheValue) {
  memory_preferences::failNextSynchronize();
  store.setClockSource(1);
  EXPECT_EQ(stored("ClockSource"), std::nullopt);
  EXPECT_TRUE(store.store());
  EXPECT_EQ(stored("ClockSource"), CFValue("1"));
}

TEST_F(Store, GetSettingNodeReturnsNull) {
  store.getOrCreateNode("Settings");
  EXPECT_EQ(store.getSettingNode("Settings", false), nullptr);
  EXPECT_EQ(store.getSettingNode("Other", true), nullptr);
  EXPECT_EQ(store.getCountNodes(), 1);
}

// --- Numbers ---

struct Number {
  const char* key;
  Getter get;
  Setter set;
};

TEST_F(Store, EveryNumberIsStoredAtOnceAndReadUnderItsKey) {
  for (const Number& number : {
           Number{"SampleRate", &OSXAsioRegistry::getSampleRate, &OSXAsioRegistry::setSampleRate},
           Number{"FootSwitchProtocol", &OSXAsioRegistry::getFootSwitchProtocol,
                  &OSXAsioRegistry::setFootSwitchProtocol},
           Number{"FootSwitchMode", &OSXAsioRegistry::getFootSwitchMode,
                  &OSXAsioRegistry::setFootSwitchMode},
           Number{"ForceInternal", &OSXAsioRegistry::getForceInternal, nullptr},
           Number{"ClockSource", nullptr, &OSXAsioRegistry::setClockSource},
           Number{"DigitalOutMode", nullptr, &OSXAsioRegistry::setDigitalOutMode},
           Number{"USB1Mode", nullptr, &OSXAsioRegistry::setUSB1Mode},
           Number{"DigitalOutSel", nullptr, &OSXAsioRegistry::setDigitalOutSelector},
       }) {
    memory_preferences::reset();
    if (number.set) {
      (store.*number.set)(7);
      EXPECT_EQ(memory_preferences::operations(),
                (Operations{std::string("set ") + number.key, "synchronize"}));
      EXPECT_EQ(stored(number.key), CFValue("7"));
    }
    if (number.get) {
      memory_preferences::reset();
      std::uint32_t value = 9;
      EXPECT_FALSE((store.*number.get)(value));
      EXPECT_EQ(value, 0u);
      put(number.key, "8");
      EXPECT_TRUE((store.*number.get)(value));
      EXPECT_EQ(value, 8u);
    }
  }
}

TEST_F(Store, ASampleRateOf48000IsTheText48000) {
  store.setSampleRate(48000);
  EXPECT_EQ(stored("SampleRate"), CFValue("48000"));
  std::uint32_t rate = 0;
  EXPECT_TRUE(store.getSampleRate(rate));
  EXPECT_EQ(rate, 48000u);
}

TEST_F(Store, AMixerModeMayBeNegative) {
  std::int32_t mode = 9;
  EXPECT_FALSE(store.getMixerMode(mode));
  EXPECT_EQ(mode, 0);
  store.setMixerMode(-3);
  EXPECT_EQ(stored("MixerMode"), CFValue("-3"));
  EXPECT_TRUE(store.getMixerMode(mode));
  EXPECT_EQ(mode, -3);
}

TEST_F(Store, TheClockSourceAndDigitalOutModeAreZeroWhenMissing) {
  std::uint32_t source = 9;
  std::uint32_t mode = 9;
  store.getClockSource(source);
  store.getDigitalOutMode(mode);
  EXPECT_EQ(source, 0u);
  EXPECT_EQ(mode, 0u);
  put("ClockSource", "3");
  put("DigitalOutMode", "4");
  store.getClockSource(source);
  store.getDigitalOutMode(mode);
  EXPECT_EQ(source, 3u);
  EXPECT_EQ(mode, 4u);
}

TEST_F(Store, SetForceInternalWritesTheDigitalOutMode) {
  put("ForceInternal", "5");
  store.setForceInternal(1);
  EXPECT_EQ(stored("DigitalOutMode"), CFValue("1"));
  EXPECT_EQ(stored("ForceInternal"), CFValue("5"));
}

TEST_F(Store, ANumbersIndicesAreInItsKeyInOrder) {
  store.setRouting(0, 1, 5);
  store.setWolfsonRegister(12, 0xffffffff, 6);
  EXPECT_EQ(stored("Routing_0_1"), CFValue("5"));
  EXPECT_EQ(stored("WolfsonRegister_12_-1"), CFValue("6"));
  std::uint32_t value = 0;
  EXPECT_TRUE(store.getRouting(0, 1, value));
  EXPECT_EQ(value, 5u);
  EXPECT_FALSE(store.getRouting(1, 0, value));
  EXPECT_EQ(value, 0u);
  EXPECT_TRUE(store.getWolfsonRegister(12, 0xffffffff, value));
  EXPECT_EQ(value, 6u);
  EXPECT_FALSE(store.getWolfsonRegister(0, 12, value));
  EXPECT_EQ(value, 0u);
}

TEST_F(Store, TheLargestNumberIsStoredAsMinusOneAndReadBack) {
  store.setUInt32Value(4294967295, "Key");
  EXPECT_EQ(stored("Key"), CFValue("-1"));
  std::uint32_t value = 0;
  EXPECT_TRUE(store.getUInt32Value(value, "Key"));
  EXPECT_EQ(value, 4294967295u);
}

TEST_F(Store, TheNumberAtTheStartOfATextIsParsed) {
  for (const auto& [text, number] : {std::pair<const char*, std::int32_t>(" 12abc", 12),
                                     {"-7", -7},
                                     {"", 0},
                                     {"abc", 0},
                                     {"1.0", 1},
                                     {"0x10", 0},
                                     {"99999999999", 2147483647}}) {
    put("Key", text);
    std::uint32_t value = 9;
    EXPECT_TRUE(store.getUInt32Value(value, "Key")) << text;
    EXPECT_EQ(static_cast<std::int32_t>(value), number) << text;
  }
}

TEST_F(Store, ANumberIsTruncatedToTheWidthOfItsVariable) {
  put("Key", "74565");  // 0x12345
  std::uint16_t half = 0;
  std::uint8_t byte = 0;
  EXPECT_TRUE(store.getUInt16Value(half, "Key"));
  EXPECT_TRUE(store.getUInt8Value(byte, "Key"));
  EXPECT_EQ(half, 0x2345);
  EXPECT_EQ(byte, 0x45);
  EXPECT_FALSE(store.getUInt16Value(half, "Missing"));
  EXPECT_FALSE(store.getUInt8Value(byte, "Missing"));
  EXPECT_EQ(half, 0);
  EXPECT_EQ(byte, 0);
}

TEST_F(Store, NarrowNumbersAreStoredAsText) {
  store.setUInt16Value(65535, "Half");
  store.setUInt8Value(255, "Byte");
  EXPECT_EQ(stored("Half"), CFValue("65535"));
  EXPECT_EQ(stored("Byte"), CFValue("255"));
}

TEST_F(Store, ABoolIsTrueForAnyNumberButZero) {
  bool value = true;
  EXPECT_FALSE(store.getBoolValue(value, "Key"));
  EXPECT_FALSE(value);
  for (const auto& [text, expected] :
       {std::pair("1", true), {"0", false}, {"-2", true}, {"256", true}, {"true", false}}) {
    put("Key", text);
    EXPECT_TRUE(store.getBoolValue(value, "Key"));
    EXPECT_EQ(value, expected) << text;
  }
}

TEST_F(Store, ABoolIsStoredAsZeroOrOne) {
  store.setBoolValue(true, "Yes");
  store.setBoolValue(false, "No");
  EXPECT_EQ(stored("Yes"), CFValue("1"));
  EXPECT_EQ(stored("No"), CFValue("0"));
}

TEST_F(Store, AValueThatIsNoTextCountsAsAMissingNumber) {
  for (const CFValue& other : {CFValue(CFData{'7'}), CFValue(7), CFValue(CFDictionary{})}) {
    put("Key", other);
    std::uint32_t value = 9;
    EXPECT_FALSE(store.getUInt32Value(value, "Key"));
    EXPECT_EQ(value, 0u);
  }
}

// --- Texts ---

TEST_F(Store, GetStringValueReturnsAnyValueAndTrue) {
  std::optional<CFValue> value = 9;
  EXPECT_TRUE(store.getStringValue(value, "Key"));
  EXPECT_EQ(value, std::nullopt);
  for (const CFValue& kept : {CFValue("text"), CFValue(CFData{1})}) {
    put("Key", kept);
    EXPECT_TRUE(store.getStringValue(value, "Key"));
    EXPECT_EQ(value, kept);
  }
}

TEST_F(Store, ATextIsStoredAtOnceAndNulloptRemovesIt) {
  EXPECT_TRUE(store.setStringValue("text", "Key"));
  EXPECT_EQ(stored("Key"), CFValue("text"));
  EXPECT_TRUE(store.setStringValue(std::nullopt, "Key"));
  EXPECT_EQ(stored("Key"), std::nullopt);
  memory_preferences::failNextSynchronize();
  EXPECT_FALSE(store.setStringValue("text", "Key"));
}

// --- Blocks ---

struct Block {
  const char* key;
  std::size_t size;
  bool (OSXAsioRegistry::*get)(std::uint8_t*) const;
  bool (OSXAsioRegistry::*getBounded)(std::span<std::uint8_t>) const;
  void (OSXAsioRegistry::*set)(const std::uint8_t*);
};

constexpr Block kBlocks[] = {
    {"RoutingMatrix", 32, &OSXAsioRegistry::getRoutingMatrix, &OSXAsioRegistry::getRoutingMatrix,
     &OSXAsioRegistry::setRoutingMatrix},
    {"MixerFractions", 512, &OSXAsioRegistry::getMixerFractions,
     &OSXAsioRegistry::getMixerFractions, &OSXAsioRegistry::setMixerFractions},
    {"MixerBuffer", 64, &OSXAsioRegistry::getMixerBuffer, &OSXAsioRegistry::getMixerBuffer,
     &OSXAsioRegistry::setMixerBuffer},
    {"ReverbBuffers", 1024, &OSXAsioRegistry::getReverbBuffers, &OSXAsioRegistry::getReverbBuffers,
     &OSXAsioRegistry::setReverbBuffers},
};

CFData countingBytes(std::size_t size) {
  CFData bytes(size);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

TEST_F(Store, EveryBlockIsStoredAtOnceWithItsSize) {
  for (const Block& block : kBlocks) {
    memory_preferences::reset();
    const CFData bytes = countingBytes(block.size);
    (store.*block.set)(bytes.data());
    EXPECT_EQ(memory_preferences::operations(),
              (Operations{std::string("set ") + block.key, "synchronize"}));
    EXPECT_EQ(stored(block.key), CFValue(bytes));
  }
}

TEST_F(Store, AMissingBlockLeavesTheBufferUntouched) {
  for (const Block& block : kBlocks) {
    CFData buffer = countingBytes(block.size);
    EXPECT_FALSE((store.*block.get)(buffer.data()));
    EXPECT_FALSE((store.*block.getBounded)(buffer));
    EXPECT_EQ(buffer, countingBytes(block.size));
  }
}

TEST_F(Store, AllStoredBytesAreCopiedToAPointer) {
  for (const Block& block : kBlocks) {
    for (const std::size_t size : {std::size_t{0}, block.size - 1, block.size + 1}) {
      put(block.key, countingBytes(size));
      CFData buffer(block.size + 2, 0);
      EXPECT_TRUE((store.*block.get)(buffer.data()));
      CFData expected = countingBytes(size);
      expected.resize(block.size + 2, 0);
      EXPECT_EQ(buffer, expected);
    }
  }
}

TEST_F(Store, OnlyTheBytesThatFitAreCopiedToASpan) {
  for (const Block& block : kBlocks) {
    put(block.key, countingBytes(block.size + 1));
    CFData buffer(block.size + 1, 0);
    EXPECT_TRUE((store.*block.getBounded)(std::span(buffer).first(block.size)));
    CFData expected = countingBytes(block.size);
    expected.push_back(0);
    EXPECT_EQ(buffer, expected);
  }
}

TEST_F(Store, NullStoresNoBlock) {
  for (const Block& block : kBlocks) (store.*block.set)(nullptr);
  EXPECT_EQ(memory_preferences::operations(), Operations{});
}

TEST_F(Store, ATextCountsAsAMissingBlock) {
  put("RoutingMatrix", "12");
  std::array<std::uint8_t, OSXAsioRegistry::kRoutingMatrixSize> buffer = {};
  EXPECT_FALSE(store.getRoutingMatrix(buffer));
  EXPECT_FALSE(store.getRoutingMatrix(buffer.data()));
  EXPECT_EQ(buffer[0], 0);
}

TEST_F(Store, A64BitNumberIsABlockOf8BytesInHostOrder) {
  constexpr std::uint64_t kNumber = 0x0102030405060708;
  store.setUInt64Value(kNumber, "Key");
  CFData bytes(sizeof kNumber);
  std::memcpy(bytes.data(), &kNumber, sizeof kNumber);
  EXPECT_EQ(stored("Key"), CFValue(bytes));
  std::uint64_t value = 0;
  EXPECT_TRUE(store.getUInt64Value(value, "Key"));
  EXPECT_EQ(value, kNumber);
}

TEST_F(Store, AMissing64BitNumberLeavesTheVariableUntouched) {
  std::uint64_t value = 9;
  EXPECT_FALSE(store.getUInt64Value(value, "Key"));
  EXPECT_EQ(value, 9u);
}

TEST_F(Store, A64BitNumberTakesTheStoredBytesThatFit) {
  std::uint64_t value = std::numeric_limits<std::uint64_t>::max();
  put("Key", CFData(4, 0));
  EXPECT_TRUE(store.getUInt64Value(value, "Key"));
  std::uint8_t bytes[8];
  std::memcpy(bytes, &value, sizeof value);
  EXPECT_EQ(CFData(bytes, bytes + 8), (CFData{0, 0, 0, 0, 255, 255, 255, 255}));
  put("Key", CFData(9, 0));
  EXPECT_TRUE(store.getUInt64Value(value, "Key"));
  EXPECT_EQ(value, 0u);
  put("Key", CFData());
  EXPECT_TRUE(store.getUInt64Value(value, "Key"));
  EXPECT_EQ(value, 0u);
}

}  // namespace
