// SPDX-License-Identifier: MIT
#include "protocol/records.h"

#include <algorithm>
#include <optional>

#include "protocol/services.h"
#include "protocol/wire.h"

namespace {

// The channel codes of the maps: a stereo pair first, then groups of consecutive codes.
constexpr std::uint32_t kInputPairCode = 160;
constexpr std::uint32_t kOutputPairCode = 32;
constexpr std::uint32_t kInputGroupCode = 128;
constexpr std::uint32_t kInputLastPairCode = 192;
constexpr std::uint32_t kOutputSecondPairCode = 70;
constexpr std::uint32_t kOutputGroupCode = 0;

// `count` consecutive codes from `code` on have consecutive flags from `flag` on.
struct CodeRange {
  std::uint32_t code;
  std::uint32_t count;
  std::size_t flag;
};

constexpr CodeRange kProduct8Inputs[] = {{kInputPairCode, 2, 0}, {kInputGroupCode, 8, 2}};
constexpr CodeRange kProduct8Outputs[] = {
    {kOutputPairCode, 2, 0}, {kOutputSecondPairCode, 2, 2}, {kOutputGroupCode, 8, 4}};
constexpr CodeRange kOtherInputs[] = {
    {kInputPairCode, 2, 0}, {kInputGroupCode, 4, 2}, {kInputLastPairCode, 2, 6}};
constexpr CodeRange kOtherOutputs[] = {{kOutputPairCode, 2, 0}, {kOutputGroupCode, 4, 2}};

using CodeRanges = std::span<const CodeRange>;

bool isProduct8(const VIDPID& device) {
  return device.isDevice(kOrbekVendorId, kOrbekProduct8, kAnyRelease);
}
CodeRanges inputRanges(const VIDPID& device) {
  return isProduct8(device) ? CodeRanges(kProduct8Inputs) : CodeRanges(kOtherInputs);
}
CodeRanges outputRanges(const VIDPID& device) {
  return isProduct8(device) ? CodeRanges(kProduct8Outputs) : CodeRanges(kOtherOutputs);
}

// The flag of a channel code; nothing for a code that is in none of the ranges.
std::optional<std::size_t> flagOf(std::uint32_t code, CodeRanges ranges) {
  for (const CodeRange& range : ranges) {
    if (code >= range.code && code - range.code < range.count) {
      return range.flag + (code - range.code);
    }
  }
  return std::nullopt;
}

void markUsed(std::span<const std::uint32_t> entries, CodeRanges ranges, std::span<bool> flags) {
  flags = flags.first(std::min(flags.size(), VQ_Orbek_ChannelMap::kUsageFlags));
  std::fill(flags.begin(), flags.end(), false);
  for (const std::uint32_t entry : entries) {
    const std::optional<std::size_t> flag = flagOf(entry, ranges);
    if (flag && *flag < flags.size()) flags[*flag] = true;
  }
}

bool areValid(std::span<const std::uint32_t> entries, CodeRanges ranges) {
  return std::all_of(entries.begin(), entries.end(), [ranges](std::uint32_t entry) {
    return entry == VQ_Orbek_ChannelMap::kUnused || flagOf(entry, ranges);
  });
}

bool matches(const VIDPID& own, unsigned short vendor, unsigned short product,
             unsigned short release) {
  return own.vendor == vendor && own.product == product &&
         (release == kAnyRelease || own.release == release);
}

}  // namespace

bool VQ_DeviceDescriptor::isDevice(unsigned short vendorId, unsigned short productId,
                                   unsigned short releaseNumber) const {
  return matches({vendor, product, release}, vendorId, productId, releaseNumber);
}

void VQ_DeviceDescriptor::clear() { *this = {}; }

VQ_DeviceDescriptor VQ_DeviceDescriptor::decode(std::span<const std::uint8_t> from) {
  VQ_DeviceDescriptor descriptor;
  descriptor.first = wire::load<std::uint16_t>(from, 0);
  descriptor.second = {wire::load<std::uint16_t>(from, 2), wire::load<std::uint16_t>(from, 4)};
  descriptor.vendor = wire::load<std::uint16_t>(from, 6);
  descriptor.product = wire::load<std::uint16_t>(from, 8);
  descriptor.release = wire::load<std::uint16_t>(from, 10);
  descriptor.last = wire::load<std::uint32_t>(from, 12);
  return descriptor;
}

void VQ_DeviceDescriptor::encode(std::span<std::uint8_t> to) const {
  wire::store(to, 0, first);
  wire::store(to, 2, second[0]);
  wire::store(to, 4, second[1]);
  wire::store(to, 6, vendor);
  wire::store(to, 8, product);
  wire::store(to, 10, release);
  wire::store(to, 12, last);
}

bool VIDPID::isDevice(unsigned short vendorId, unsigned short productId,
                      unsigned short releaseNumber) const {
  return matches(*this, vendorId, productId, releaseNumber);
}

VQ_DeviceConfiguration VQ_DeviceConfiguration::decode(std::span<const std::uint8_t> from) {
  return {wire::load<std::uint32_t>(from, 0), wire::load<std::uint32_t>(from, 4),
          wire::load<std::uint32_t>(from, 8), wire::load<std::uint32_t>(from, 12),
          wire::load<std::uint32_t>(from, 16)};
}

void VQ_DeviceConfiguration::encode(std::span<std::uint8_t> to) const {
  const std::array words = {sampleRate, numInputs, inputBits, numOutputs, outputBits};
  wire::storeWords(to, 0, words);
}

void VQ_Orbek_ChannelMap::setDefaults(const VIDPID&) {
  inputs.fill(kUnused);
  outputs.fill(kUnused);
  for (std::uint32_t i = 0; i < 2; ++i) {
    inputs[i] = kInputPairCode + i;
    outputs[i] = kOutputPairCode + i;
  }
}

void VQ_Orbek_ChannelMap::getUsageList(bool* inputsUsed, bool* outputsUsed,
                                       const VIDPID& device) const {
  getUsageList(std::span(inputsUsed, kUsageFlags), std::span(outputsUsed, kUsageFlags), device);
}

void VQ_Orbek_ChannelMap::getUsageList(std::span<bool> inputsUsed, std::span<bool> outputsUsed,
                                       const VIDPID& device) const {
  markUsed(inputs, inputRanges(device), inputsUsed);
  markUsed(outputs, outputRanges(device), outputsUsed);
}

bool VQ_Orbek_ChannelMap::isValid(const VIDPID& device) const {
  return areValid(inputs, inputRanges(device)) && areValid(outputs, outputRanges(device));
}

VQ_Orbek_ChannelMap VQ_Orbek_ChannelMap::decode(std::span<const std::uint8_t> from) {
  VQ_Orbek_ChannelMap map;
  wire::loadWords(from, 0, map.inputs);
  wire::loadWords(from, 4 * kEntries, map.outputs);
  return map;
}

void VQ_Orbek_ChannelMap::encode(std::span<std::uint8_t> to) const {
  wire::storeWords(to, 0, inputs);
  wire::storeWords(to, 4 * kEntries, outputs);
}

VQ_Orbek_ConfigAndMap VQ_Orbek_ConfigAndMap::decode(std::span<const std::uint8_t> from) {
  const std::size_t mapOffset = std::min(from.size(), VQ_DeviceConfiguration::kSize);
  return {VQ_DeviceConfiguration::decode(from),
          VQ_Orbek_ChannelMap::decode(from.subspan(mapOffset))};
}

void VQ_Orbek_ConfigAndMap::encode(std::span<std::uint8_t> to) const {
  configuration.encode(to);
  map.encode(to.subspan(std::min(to.size(), VQ_DeviceConfiguration::kSize)));
}

void VqAjExtData::setDefaults() {
  *this = {.mFirstWord = mFirstWord, .mSixthWord = 1, .mSeventhWord = 2, .mNinthWord = 1};
}

void VqAjExtData::validate() {
  if (mClockSource > 1) mClockSource = 0;
  if (mUSB1Mode > 1) mUSB1Mode = 0;
  if (mDigitalOutMode > 1) mDigitalOutMode = 0;
}

VQ_DigitalStatus VQ_DigitalStatus::decode(std::span<const std::uint8_t> from) {
  return {wire::load<std::uint32_t>(from, 0), wire::load<std::uint32_t>(from, 4)};
}

void VQ_DigitalStatus::encode(std::span<std::uint8_t> to) const {
  wire::store(to, 0, lockState);
  wire::store(to, 4, rate);
}

CodecRegister CodecRegister::decode(std::span<const std::uint8_t> from) {
  return {wire::load<std::uint16_t>(from, 0), wire::load<std::uint16_t>(from, 2),
          wire::load<std::uint16_t>(from, 4)};
}

void CodecRegister::encode(std::span<std::uint8_t> to) const {
  wire::store(to, 0, codec);
  wire::store(to, 2, number);
  wire::store(to, 4, contents);
}
