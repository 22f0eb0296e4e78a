// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/commands.h"

namespace driver {

namespace {

// In the 64-byte level record the output levels follow eight input words.
constexpr std::size_t kLevelInfoOutputsOffset = 8 * sizeof(std::uint32_t);

}  // namespace

GroupAnswer answerLevelCommand(LevelMeter* meter, VQ_Dispatch& record) {
  using enum VQ_Command;
  const VQ_Command command = record.command();
  if (command != kReadLevelInfo && command != kGetInLevels && command != kGetOutLevels) {
    return std::nullopt;
  }
  clearPayload(record);
  if (!meter) return Outcome::answered;
  if (command != kGetOutLevels) wire::storeWords(record.payload(), 0, meter->takeInputLevels());
  if (command != kGetInLevels) {
    wire::storeWords(record.payload(), command == kGetOutLevels ? 0 : kLevelInfoOutputsOffset,
                     meter->takeOutputLevels());
  }
  return Outcome::answered;
}

}  // namespace driver
