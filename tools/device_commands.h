// SPDX-License-Identifier: MIT
// vx310ctl list and vx310ctl show: the connected interfaces as the panel sees them.
#pragma once

#include <string>
#include <vector>

#include "tools/exit_status.h"

namespace vx310ctl {

// `words` follow the command's name.
ExitStatus runList(const std::vector<std::string>& words);
ExitStatus runShow(const std::vector<std::string>& words);

}  // namespace vx310ctl
