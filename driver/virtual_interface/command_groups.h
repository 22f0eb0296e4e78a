// SPDX-License-Identifier: MIT
// The commands by subject. Each group answers its own commands in place, or nothing when the
// command is not of that group.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "driver/virtual_interface/model.h"

namespace driver {

using GroupAnswer = std::optional<Outcome>;

// Answers with `value` as payload word 0.
inline Outcome answerWord(VQ_Dispatch& record, std::uint32_t value) {
  record.setWord(0, value);
  return Outcome::answered;
}

// Clears the payload for an answer that does not build on the request.
inline void clearPayload(VQ_Dispatch& record) { record = VQ_Dispatch(record.command()); }

// Answers with `text` at the start of a cleared payload, cut to `size` bytes with its end.
Outcome answerText(VQ_Dispatch& record, std::string_view text, std::size_t size);

// Sample clock, configurations, buffer sizes, digital input.
GroupAnswer answerClockCommand(Model& model, VQ_Dispatch& record);

// Output format and selector, USB 1.1 mode, routing, logic chip, codec registers.
GroupAnswer answerOptionCommand(Model& model, VQ_Dispatch& record);

// Levels, channel maps, device name.
GroupAnswer answerChannelCommand(Model& model, VQ_Dispatch& record);

// Strings, descriptor, versions and what else is read at open.
GroupAnswer answerIdentityCommand(Model& model, VQ_Dispatch& record);

// USB control requests, control port, streaming, firmware update, re-enumeration.
GroupAnswer answerTransferCommand(Model& model, VQ_Dispatch& record);

}  // namespace driver
