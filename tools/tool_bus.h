// SPDX-License-Identifier: MIT
// The tool's connection to the session bus.
#pragma once

#include "platform/session_bus/session_bus.h"
#include "tools/exit_status.h"

namespace vx310ctl {

// How long the bus, and one call on it, may take. Plugging in waits for the audio device to appear;
// everything else is a matter of milliseconds.
inline constexpr int kBusLimitMs = 2000;

// Failure is explained on standard error.
ExitStatus connectToBus(session_bus::Bus* bus);

}  // namespace vx310ctl
