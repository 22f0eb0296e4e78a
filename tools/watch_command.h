// SPDX-License-Identifier: MIT
// `vx310ctl watch`: what happens to the interface, a line an event.
#pragma once

#include <string>
#include <vector>

#include "tools/exit_status.h"

namespace vx310ctl {

// Runs until it is ended from outside; kFailed when the session bus cannot be reached or goes
// away, or the output cannot be written.
ExitStatus runWatch(const std::vector<std::string>& words);

}  // namespace vx310ctl
