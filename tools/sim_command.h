// SPDX-License-Identifier: MIT
// `vx310ctl sim`: plugs and changes the virtual interfaces of the driver service.
#pragma once

#include <string>
#include <vector>

#include "tools/exit_status.h"

namespace vx310ctl {

// `words` follow "sim". The driver parses all but "--interface N" and "--help", and what it replies
// is printed.
ExitStatus runSim(const std::vector<std::string>& words);

}  // namespace vx310ctl
