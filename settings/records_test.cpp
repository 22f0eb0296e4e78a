// SPDX-License-Identifier: MIT
// The per-interface records in the store.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/files/memory/memory_files.h"
#include "platform/log/memory/memory_log.h"
#include "platform/preferences/memory/memory_preferences.h"
#include "settings/osx_asio_registry.h"

namespace {

constexpr std::size_t kRefusesNone = static_cast<std::size_t>(-1);

// Allocations of this size fail.
std::size_t refusedSize = kRefusesNone;

}  // namespace

// Every operator that the replaced delete frees for is replaced, so that allocator and deallocator
// match. Not inlined: a compiler that inlines only one of a pair warns of a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return size == refusedSize ? nullptr : std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* memory = operator new(size, std::nothrow);
  if (!memory) throw std::bad_alloc();
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using platform::LogPriority;
using Lines = std::vector<memory_log::Line>;

constexpr const char* kGet =
    "bool OSXAsioRegistry::getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap&, char*)";
constexpr const char* kSet =
    "bool OSXAsioRegistry::setOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap&, char*)";
constexpr const char* kKey = "ORBEK_        12345678";

VQ_Orbek_ConfigAndMap countingRecord() {
  VQ_Orbek_ConfigAndMap record;
  record.configuration = {96000, 10, 16, 12, 24};
  for (std::uint32_t i = 0; i < VQ_Orbek_ChannelMap::kEntries; ++i) {
    record.map.inputs[i] = 100 + i;
    record.map.outputs[i] = 200 + i;
  }
  return record;
}

CFData bytesOf(const VQ_Orbek_ConfigAndMap& record) {
  CFData bytes(sizeof record);
  std::memcpy(bytes.data(), &record, sizeof record);
  return bytes;
}

class OrbekRecords : public testing::Test {
 protected:
  OrbekRecords() {
    memory_preferences::reset();
    memory_files::reset();
    memory_log::reset();
  }

  void put(std::string_view key, const CFValue& value) {
    memory_preferences::storeFromOutside(key, value, store.getApplicationId());
    CFPreferencesAppSynchronize(store.getApplicationId());
  }
  CFDictionary stored() { return memory_preferences::storedValues(store.getApplicationId()); }

  // The bytes of an id in memory.
  struct Uid {
    explicit Uid(std::uint64_t id) { std::memcpy(bytes, &id, sizeof id); }
    char bytes[8];
  };
  const Uid uid{0x12345678};
  OSXAsioRegistry store{std::optional<std::string_view>("records")};
};

TEST_F(OrbekRecords, ADevicesRecordIsABlockUnderItsIdPaddedWithBlanks) {
  EXPECT_TRUE(store.setOrbekConfigAndMapping(countingRecord(), uid.bytes));
  EXPECT_EQ(stored(), (CFDictionary{{kKey, bytesOf(countingRecord())}}));
}

TEST_F(OrbekRecords, AnIdOf16DigitsIsNotPaddedAndHasCapitalLetters) {
  EXPECT_TRUE(store.setOrbekConfigAndMapping(countingRecord(), Uid(0xfedcba9876543210).bytes));
  EXPECT_TRUE(stored().contains("ORBEK_FEDCBA9876543210"));
}

TEST_F(OrbekRecords, AStoredRecordIsReadAndTheCallIsLogged) {
  put(kKey, bytesOf(countingRecord()));
  VQ_Orbek_ConfigAndMap record;
  EXPECT_TRUE(store.getOrbekConfigAndMapping(record, uid.bytes));
  EXPECT_EQ(record, countingRecord());
  EXPECT_EQ(memory_log::lines(), (Lines{{LogPriority::kNotice, std::string(kGet) + "\n"}}));
}

TEST_F(OrbekRecords, AMissingRecordIsLoggedAndLeavesTheCallersUntouched) {
  VQ_Orbek_ConfigAndMap record = countingRecord();
  EXPECT_FALSE(store.getOrbekConfigAndMapping(record, uid.bytes));
  EXPECT_EQ(record, countingRecord());
  EXPECT_EQ(
      memory_log::lines(),
      (Lines{{LogPriority::kNotice, std::string(kGet) + "\n"},
             {LogPriority::kError, std::string(kGet) + " No prefs for device         12345678"}}));
}

TEST_F(OrbekRecords, AShortBlockReplacesOnlyItsBytes) {
  put(kKey, CFData{1, 0, 0, 0, 2});
  VQ_Orbek_ConfigAndMap record = countingRecord();
  EXPECT_TRUE(store.getOrbekConfigAndMapping(record, uid.bytes));
  VQ_Orbek_ConfigAndMap expected = countingRecord();
  expected.configuration.sampleRate = 1;
  expected.configuration.numInputs = 2;
  EXPECT_EQ(record, expected);
  put(kKey, CFData());
  EXPECT_TRUE(store.getOrbekConfigAndMapping(record, uid.bytes));
  EXPECT_EQ(record, expected);
}

TEST_F(OrbekRecords, ALongBlockFillsOnlyTheRecord) {
  CFData block = bytesOf(countingRecord());
  block.resize(100, 0xee);
  put(kKey, block);
  struct {
    VQ_Orbek_ConfigAndMap record;
    std::uint8_t behind = 0x11;
  } memory;
  EXPECT_TRUE(store.getOrbekConfigAndMapping(memory.record, uid.bytes));
  EXPECT_EQ(memory.record, countingRecord());
  EXPECT_EQ(memory.behind, 0x11);
}

TEST_F(OrbekRecords, ATextInPlaceOfABlockCountsAsMissing) {
  put(kKey, "1");
  VQ_Orbek_ConfigAndMap record = countingRecord();
  EXPECT_FALSE(store.getOrbekConfigAndMapping(record, uid.bytes));
  EXPECT_EQ(record, countingRecord());
}

TEST_F(OrbekRecords, ARecordWithoutMemoryForItIsLoggedAndNotStored) {
  refusedSize = VQ_Orbek_ConfigAndMap::kSize;
  const bool isStored = store.setOrbekConfigAndMapping(countingRecord(), uid.bytes);
  refusedSize = kRefusesNone;
  EXPECT_FALSE(isStored);
  EXPECT_EQ(stored(), CFDictionary{});
  EXPECT_EQ(memory_log::lines(),
            (Lines{{LogPriority::kError, std::string(kSet) + " Could not create data ref\n"}}));
}

TEST_F(OrbekRecords, WithoutKeysTheRecordOfAllDevicesIsTheDefault) {
  VQ_Orbek_ConfigAndMap record = countingRecord();
  EXPECT_TRUE(store.getOrbekConfigAndMapping(record));
  VQ_Orbek_ConfigAndMap expected;
  expected.configuration = {48000, 2, 16, 2, 16};
  expected.map.inputs.fill(255);
  expected.map.outputs.fill(255);
  EXPECT_EQ(record, expected);
}

TEST_F(OrbekRecords, TheWidthOfTheInputsIsReadForTheOutputsToo) {
  store.setOrbekConfigAndMapping(countingRecord());
  VQ_Orbek_ConfigAndMap record;
  EXPECT_TRUE(store.getOrbekConfigAndMapping(record));
  VQ_Orbek_ConfigAndMap expected = countingRecord();
  expected.configuration.outputBits = 16;
  EXPECT_EQ(record, expected);
}

TEST_F(OrbekRecords, AMissingKeyGetsItsDefault) {
  store.setOrbekConfigAndMapping(countingRecord());
  store.setStringValue(std::nullopt, "Orbek_InputBits");
  store.setStringValue(std::nullopt, "Orbek_OutputMap_7");
  VQ_Orbek_ConfigAndMap record;
  EXPECT_TRUE(store.getOrbekConfigAndMapping(record));
  VQ_Orbek_ConfigAndMap expected = countingRecord();
  expected.configuration.inputBits = 16;
  expected.configuration.outputBits = 16;
  expected.map.outputs[7] = 255;
  EXPECT_EQ(record, expected);
}

TEST_F(OrbekRecords, TheRecordOfAllDevicesIsStoredAsTextsWithOneSynchroniseAtTheEnd) {
  memory_preferences::reset();
  store.setOrbekConfigAndMapping(countingRecord());
  std::vector<std::string> expected;
  CFDictionary values;
  for (int i = 0; i < 8; ++i) {
    const std::string index = std::to_string(i);
    expected.push_back("set Orbek_InputMap_" + index);
    expected.push_back("set Orbek_OutputMap_" + index);
    values.emplace("Orbek_InputMap_" + index, std::to_string(100 + i));
    values.emplace("Orbek_OutputMap_" + index, std::to_string(200 + i));
  }
  for (const char* operation :
       {"set Orbek_SampleRate", "set Orbek_NumInputs", "set Orbek_InputBits",
        "set Orbek_NumOutputs", "set Orbek_OutputBits", "synchronize"}) {
    expected.push_back(operation);
  }
  values.insert({{"Orbek_SampleRate", "96000"},
                 {"Orbek_NumInputs", "10"},
                 {"Orbek_InputBits", "16"},
                 {"Orbek_NumOutputs", "12"},
                 {"Orbek_OutputBits", "24"}});
  EXPECT_EQ(memory_preferences::operations(), expected);
  EXPECT_EQ(stored(), values);
}

TEST_F(OrbekRecords, ALargeNumberInARecordIsStoredNegativeAndReadBack) {
  VQ_Orbek_ConfigAndMap record = countingRecord();
  record.map.inputs[0] = 0xffffffff;
  store.setOrbekConfigAndMapping(record);
  EXPECT_EQ(stored().at("Orbek_InputMap_0"), CFValue("-1"));
  VQ_Orbek_ConfigAndMap read;
  EXPECT_TRUE(store.getOrbekConfigAndMapping(read));
  EXPECT_EQ(read.map.inputs[0], 0xffffffff);
}

TEST_F(OrbekRecords, TheOptionsAreReadFromTheirKeysAndLogged) {
  store.setClockSource(1);
  store.setUSB1Mode(2);
  store.setDigitalOutMode(0xffffffff);
  store.setDigitalOutSelector(4);
  VqAjExtData data;
  data.mFirstWord = 9;
  data.mEighthWord = 9;
  store.loadAjExt(data);
  EXPECT_EQ(data, (VqAjExtData{9, 1, 2, 0xffffffff, 4, 0, 1, 2, 0, 1}));
  EXPECT_EQ(memory_log::lines(),
            (Lines{{LogPriority::kWarning, "Reading clock source: 1\n"},
                   {LogPriority::kWarning, "Reading mUSB1Mode: 2\n"},
                   {LogPriority::kWarning, "Reading mDigitalOutMode: -1\n"},
                   {LogPriority::kWarning, "Reading mDigitalOutSelector: 4\n"}}));
}

TEST_F(OrbekRecords, AnOptionWhoseKeyIsMissingIsZeroAndNotLogged) {
  store.setClockSource(1);
  VqAjExtData data{9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
  store.loadAjExt(data);
  EXPECT_EQ(data, (VqAjExtData{9, 1, 0, 0, 0, 0, 1, 2, 0, 1}));
  EXPECT_EQ(memory_log::lines(), (Lines{{LogPriority::kWarning, "Reading clock source: 1\n"}}));
}

}  // namespace
