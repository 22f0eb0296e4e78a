// SPDX-License-Identifier: MIT
// `vx310ctl get` and `vx310ctl set`: the panel's choices from a shell.
#pragma once

#include <string>
#include <vector>

#include "tools/exit_status.h"

namespace vx310ctl {

// Prints one choice, or all of them.
ExitStatus runGet(const std::vector<std::string>& words);

// Sets one choice, as a pick in the panel does, and checks that the interface took it.
ExitStatus runSet(const std::vector<std::string>& words);

}  // namespace vx310ctl
