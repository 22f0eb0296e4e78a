// SPDX-License-Identifier: MIT
// What the commands say alike.
#pragma once

#include <string>
#include <string_view>

#include "tools/exit_status.h"

namespace vx310ctl {

// Explains on standard error what is wrong with the command line: kUsage.
ExitStatus wrong(const std::string& problem);

// "NAME:" and the text in a column of its own, with the end of the line.
std::string lineOf(std::string_view name, std::string_view text);

}  // namespace vx310ctl
