// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/commands.h"

#include <algorithm>
#include <array>

namespace driver {

Outcome answerCommand(Model& model, VQ_Dispatch& record) {
  constexpr std::array groups = {answerClockCommand, answerOptionCommand, answerChannelCommand,
                                 answerIdentityCommand, answerTransferCommand};
  for (const auto group : groups) {
    if (const GroupAnswer answer = group(model, record)) return *answer;
  }
  return Outcome::refused;
}

Outcome answerText(VQ_Dispatch& record, std::string_view text, std::size_t size) {
  clearPayload(record);
  text = text.substr(0, size - 1);
  std::copy(text.begin(), text.end(), record.payload().begin());
  return Outcome::answered;
}

bool isSettingCommand(VQ_Command command) {
  using enum VQ_Command;
  constexpr std::array settings = {kSetDigitalOutSelector,
                                   kWriteLogicChip,
                                   kSetConfiguration,
                                   kSetClockSource,
                                   kSetUSB1Mode,
                                   kSetDigitalOutMode,
                                   kPrepareFirmwareUpdate,
                                   kSendCPortBytes,
                                   kResumeStreaming,
                                   kSuspendStreaming,
                                   kSetRouting,
                                   kSetWMRegister,
                                   kSetChannelMap,
                                   kSetConfigurationAndChannelMap,
                                   kSetDeviceName};
  return std::find(settings.begin(), settings.end(), command) != settings.end();
}

}  // namespace driver
