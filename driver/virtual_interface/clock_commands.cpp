// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>

#include "driver/virtual_interface/commands.h"

namespace driver {

namespace {

constexpr std::size_t kConfigurationWords = VQ_DeviceConfiguration::kSize / 4;

Outcome answerConfiguration(VQ_Dispatch& record, std::uint32_t rate) {
  configurationAt(rate).encode(record.payload());
  return Outcome::answered;
}

template <std::size_t size>
Outcome answerElement(VQ_Dispatch& record, const std::array<std::uint32_t, size>& elements) {
  const std::uint32_t index = record.word(0);
  return index < size ? answerWord(record, elements[index]) : Outcome::refused;
}

Outcome answerConfigurationByIndex(VQ_Dispatch& record) {
  const std::uint32_t index = record.word(0);
  return index < kSampleRates.size() ? answerConfiguration(record, kSampleRates[index])
                                     : Outcome::refused;
}

bool hasWordsAfterFirst(const VQ_Dispatch& record) {
  for (std::size_t i = 1; i < kConfigurationWords; ++i) {
    if (record.word(i) != 0) return true;
  }
  return false;
}

// The command sets a buffer size or a configuration; both begin with word 0, and only a
// configuration has words after it. Answers with the resulting value, in the same form.
Outcome setConfigurationOrBufferSize(Model& model, VQ_Dispatch& record) {
  if (!hasWordsAfterFirst(record)) {
    const std::uint32_t size = record.word(0);
    if (std::find(kBufferSizes.begin(), kBufferSizes.end(), size) != kBufferSizes.end()) {
      model.bufferSize = size;
    }
    return answerWord(record, model.bufferSize);
  }
  setConfiguration(model, VQ_DeviceConfiguration::decode(record.payload()));
  return answerConfiguration(record, model.clock.rate());
}

// All three sources are supported; whether choosing the digital input succeeds depends on its
// signal.
Outcome canClockSource(VQ_Dispatch& record) {
  return answerWord(record, record.word(0) <= kClockDigitalInput ? 1 : 0);
}

Outcome setClockSource(Model& model, VQ_Dispatch& record) {
  const std::uint32_t source = record.word(0);
  if (source <= kClockDigitalInput) {
    model.clock.choose(static_cast<VQE_ClockSource>(source));
  }
  return answerWord(record, static_cast<std::uint32_t>(model.clock.chosen()));
}

Outcome answerDigitalStatus(const Model& model, VQ_Dispatch& record) {
  model.clock.digitalInput().encode(record.payload());
  return Outcome::answered;
}

}  // namespace

GroupAnswer answerClockCommand(Model& model, VQ_Dispatch& record) {
  switch (record.command()) {
    case VQ_Command::kGetCountConfigurations:
      return answerWord(record, static_cast<std::uint32_t>(kSampleRates.size()));
    case VQ_Command::kGetConfiguration:
      return answerConfigurationByIndex(record);
    case VQ_Command::kGetCurrentConfiguration:
      return answerConfiguration(record, model.clock.rate());
    case VQ_Command::kSetConfiguration:
      return setConfigurationOrBufferSize(model, record);
    case VQ_Command::kGetCountBufferSizes:
      return answerWord(record, static_cast<std::uint32_t>(kBufferSizes.size()));
    case VQ_Command::kGetBufferSize:
      return answerElement(record, kBufferSizes);
    case VQ_Command::kGetCurrentBufferSize:
      return answerWord(record, model.bufferSize);
    case VQ_Command::kCanClockSource:
      return canClockSource(record);
    case VQ_Command::kGetCurrentClockSource:
      return answerWord(record, static_cast<std::uint32_t>(model.clock.chosen()));
    case VQ_Command::kSetClockSource:
      return setClockSource(model, record);
    case VQ_Command::kGetDigitalStatus:
      return answerDigitalStatus(model, record);
    default:
      return std::nullopt;
  }
}

}  // namespace driver
