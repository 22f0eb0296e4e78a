// SPDX-License-Identifier: MIT
// The help of vx310ctl sim.
#pragma once

namespace vx310ctl {

// To standard output.
void printSimUsage();

}  // namespace vx310ctl
