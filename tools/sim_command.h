// SPDX-License-Identifier: MIT
// vx310ctl sim: plugs and moves the simulated interfaces of the driver service.
#pragma once

#include "tools/simulator_client.h"

namespace vx310ctl {

// `words` follow "sim".
ExitStatus runSim(const Words& words);

}  // namespace vx310ctl
