// SPDX-License-Identifier: MIT
// The levels that the virtual interface's meters show. Fixed tones lie on its connectors; which of
// them a channel shows follows from the routing, as it does on the hardware.
#pragma once

#include <array>

#include "driver/virtual_interface/model.h"

namespace driver {

// Full scale of a 24-bit sample is 0x7FFFFF. All zero while streaming is suspended; nothing is
// played, so playback channels are silent.
std::array<std::uint32_t, kInputChannels> inputLevels(const Model& model);
std::array<std::uint32_t, kOutputChannels> outputLevels(const Model& model);

}  // namespace driver
