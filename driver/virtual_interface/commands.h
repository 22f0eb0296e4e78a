// SPDX-License-Identifier: MIT
// What each request command does to the model and answers. docs/driver-protocol.md has the table
// for readers.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "driver/virtual_interface/model.h"

namespace driver {

// Carries out the record's command, unless it reads levels, and answers in place. A refused record
// is unchanged.
Outcome answerCommand(Model& model, VQ_Dispatch& record);

// True for commands that change a setting or the interface's activity, false for reading.
bool isSettingCommand(VQ_Command command);

// --- The commands by subject. Each group returns nullopt for a command of another group. ---

using GroupAnswer = std::optional<Outcome>;

// Sample clock, configurations, buffer sizes, digital input.
GroupAnswer answerClockCommand(Model& model, VQ_Dispatch& record);

// Output format and selector, USB 1.1 mode, routing, logic chip, codec registers.
GroupAnswer answerOptionCommand(Model& model, VQ_Dispatch& record);

// Channel maps, device name.
GroupAnswer answerChannelCommand(Model& model, VQ_Dispatch& record);

// Strings, descriptor, versions and the value at open.
GroupAnswer answerIdentityCommand(Model& model, VQ_Dispatch& record);

// USB control requests, control port, streaming, firmware update, re-enumeration.
GroupAnswer answerTransferCommand(Model& model, VQ_Dispatch& record);

// Levels, which no model has: all zero without a meter.
GroupAnswer answerLevelCommand(LevelMeter* meter, VQ_Dispatch& record);

// --- What the groups share ---

// Answers with `value` as payload word 0.
inline Outcome answerWord(VQ_Dispatch& record, std::uint32_t value) {
  record.setWord(0, value);
  return Outcome::answered;
}

// Zeroes the payload before an answer that reuses none of the request.
inline void clearPayload(VQ_Dispatch& record) { record = VQ_Dispatch(record.command()); }

// Answers with `text` at the start of a cleared payload, cut to `size` bytes with its end.
Outcome answerText(VQ_Dispatch& record, std::string_view text, std::size_t size);

// Answers a USB control request, which kUsbRequest carries, in the layout it came in: the old one,
// used with drivers of major version 1, or the new one, used with every other driver and, by
// callers that ask for it, with those of version 1 too.
Outcome answerUsbRequest(Model& model, VQ_Dispatch& record);

}  // namespace driver
