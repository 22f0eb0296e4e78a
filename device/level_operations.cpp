// SPDX-License-Identifier: MIT
#include <algorithm>

#include "device/usb_device.h"
#include "protocol/services.h"

namespace {

// How many slots a device of the sibling family has for its levels.
constexpr std::size_t kInputSlots = 8;
constexpr std::size_t kOutputSlots = 6;
constexpr std::size_t kProduct8InputSlots = 10;
constexpr std::size_t kProduct8OutputSlots = 12;
// How many levels are cleared before the slots are filled.
constexpr std::size_t kClearedInputs = 8;
constexpr std::size_t kClearedOutputs = 32;

// There are more slots than map entries; a slot without an entry carries no channel.
bool isUsed(std::span<const std::uint32_t> map, std::size_t slot) {
  return slot < map.size() && (map[slot] & 255) != VQ_Orbek_ChannelMap::kUnused;
}

}  // namespace

bool USBDevice::readLevelInfo(VQ_LevelInfo& levels) {
  VQ_Dispatch record(VQ_Command::kReadLevelInfo);
  if (!dispatch(record, true)) {
    levels = {};
    return false;
  }
  std::copy_n(record.payload().begin(), levels.bytes.size(), levels.bytes.begin());
  return true;
}

bool USBDevice::getInLevels(std::uint32_t* levels) {
  return getInLevels(std::span(levels, VQ_LevelInfo32::kLevelsPerSide));
}

bool USBDevice::getInLevels(std::span<std::uint32_t> levels) {
  return getLevels(Side::kInput, levels);
}

bool USBDevice::getOutLevels(std::uint32_t* levels) {
  return getOutLevels(std::span(levels, VQ_LevelInfo32::kLevelsPerSide));
}

bool USBDevice::getOutLevels(std::span<std::uint32_t> levels) {
  return getLevels(Side::kOutput, levels);
}

bool USBDevice::getLevels(Side side, std::span<std::uint32_t> levels) {
  VQ_Dispatch record(side == Side::kInput ? VQ_Command::kGetInLevels : VQ_Command::kGetOutLevels);
  if (!dispatch(record, true)) return false;
  if (isOrbek()) {
    placeLevels(side, record, levels);
  } else {
    wire::loadWords(record.payload(), 0,
                    levels.first(std::min(levels.size(), VQ_LevelInfo32::kLevelsPerSide)));
  }
  return true;
}

bool USBDevice::isOrbek() const { return static_cast<std::uint16_t>(vendorId_) == kOrbekVendorId; }

// The driver answers with one level per channel. Each level goes to the next slot that the map
// uses; levels beyond the last slot are dropped.
void USBDevice::placeLevels(Side side, const VQ_Dispatch& answer,
                            std::span<std::uint32_t> levels) const {
  const bool isProduct8 = productId_ == kOrbekProduct8;
  const auto& [configuration, map] = configurationAndMap_;
  const bool isInput = side == Side::kInput;
  const std::size_t slots = isInput ? (isProduct8 ? kProduct8InputSlots : kInputSlots)
                                    : (isProduct8 ? kProduct8OutputSlots : kOutputSlots);
  const std::size_t channels = std::min<std::size_t>(
      isInput ? configuration.numInputs : configuration.numOutputs, VQ_Dispatch::kPayloadWords);
  const auto& entries = isInput ? map.inputs : map.outputs;

  std::fill_n(levels.begin(), std::min(levels.size(), isInput ? kClearedInputs : kClearedOutputs),
              std::uint32_t{0});
  std::size_t slot = 0;
  for (std::size_t channel = 0; channel < channels; ++channel) {
    while (slot < slots && !isUsed(entries, slot)) ++slot;
    if (slot >= slots) return;
    if (slot < levels.size()) levels[slot] = answer.word(channel);
    ++slot;
  }
}

bool USBDevice::readLevelInfoEx(VQ_LevelInfo32& levels) {
  getInLevels(std::span(levels.inputs));
  getOutLevels(std::span(levels.outputs));
  return true;
}

bool USBDevice::levelInfoExAttach() { return true; }

bool USBDevice::levelInfoExDetach() { return true; }

bool USBDevice::readLevelInfoExtended1(VQ_LevelInfoExtended1&) { return true; }
