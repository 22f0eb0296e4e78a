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

// Carries out the record's command and answers in place. A refused record is unchanged.
Outcome answerCommand(Model& model, VQ_Dispatch& record);

// True for commands that change a setting or the interface's activity, false for reading.
bool isSettingCommand(VQ_Command command);

// --- The commands by subject. Each group returns nullopt for a command of another group. ---

using GroupAnswer = std::optional<Outcome>;

// Sample clock, configurations, buffer sizes, digital input.
GroupAnswer answerClockCommand(Model& model, VQ_Dispatch& record);

// Output format and selector, USB 1.1 mode, routing, logic chip, codec registers.
GroupAnswer answerOptionCommand(Model& model, VQ_Dispatch& record);

// Levels, channel maps, device name.
GroupAnswer answerChannelCommand(Model& model, VQ_Dispatch& record);

// Strings, descriptor, versions and the value at open.
GroupAnswer answerIdentityCommand(Model& model, VQ_Dispatch& record);

// USB control requests, control port, streaming, firmware update, re-enumeration.
GroupAnswer answerTransferCommand(Model& model, VQ_Dispatch& record);

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

// The levels that the meters show. Fixed tones lie on the connectors; the routing decides which of
// them a channel shows, as on the hardware. Full scale of a 24-bit sample is 0x7FFFFF. All zero
// while streaming is suspended; nothing is played, so playback channels are silent.
std::array<std::uint32_t, kInputChannels> inputLevels(const Model& model);
std::array<std::uint32_t, kOutputChannels> outputLevels(const Model& model);

}  // namespace driver
