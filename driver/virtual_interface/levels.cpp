// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/commands.h"

namespace driver {

namespace {

using PairLevels = std::array<std::uint32_t, 2>;

constexpr PairLevels kAnalog12 = {0x400000, 0x200000};
constexpr PairLevels kAnalog34 = {0x100000, 0x080000};
constexpr PairLevels kDigital = {0x600000, 0x300000};
constexpr PairLevels kSilence = {0, 0};

PairLevels inputPairLevels(const Model& model, std::size_t pair) {
  if (model.streamingSuspended) return kSilence;
  switch (model.routings.inputs[pair]) {
    case kFromAnalog12:
      return kAnalog12;
    case kFromAnalog34:
      return kAnalog34;
    case kFromDigital:
      return model.clock.digitalInput().lockState == kLockValid ? kDigital : kSilence;
    default:
      return kSilence;
  }
}

PairLevels outputPairLevels(const Model& model, std::size_t pair) {
  const std::int32_t source = model.routings.outputs[pair];
  if (source < kFromInput12) return kSilence;
  return inputPairLevels(model, static_cast<std::size_t>(source - kFromInput12));
}

}  // namespace

std::array<std::uint32_t, kInputChannels> inputLevels(const Model& model) {
  std::array<std::uint32_t, kInputChannels> levels{};
  for (std::size_t i = 0; i < levels.size(); ++i) levels[i] = inputPairLevels(model, i / 2)[i % 2];
  return levels;
}

std::array<std::uint32_t, kOutputChannels> outputLevels(const Model& model) {
  std::array<std::uint32_t, kOutputChannels> levels{};
  for (std::size_t i = 0; i < levels.size(); ++i) levels[i] = outputPairLevels(model, i / 2)[i % 2];
  return levels;
}

}  // namespace driver
