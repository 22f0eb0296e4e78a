// SPDX-License-Identifier: MIT
// The tool's connection to the session bus.
#pragma once

#include <chrono>

#include "driver/service/handles.h"
#include "tools/exit_status.h"

namespace vx310ctl {

// How long the bus, and one call on it, may take. Plugging in waits for the audio device to appear;
// everything else is a matter of milliseconds.
inline constexpr std::chrono::milliseconds kBusLimit{2000};

// Failure is explained on standard error.
ExitStatus connectToBus(driver::Bus* bus);

}  // namespace vx310ctl
