// SPDX-License-Identifier: MIT
// What the commands say alike.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "tools/exit_status.h"

namespace vx310ctl {

// Explains on standard error what is wrong with the command line: kUsage.
ExitStatus wrong(const std::string& problem);

// "NAME:" and the text in a column of its own, with the end of the line.
std::string lineOf(std::string_view name, std::string_view text);

// The value as JSON, with the end of the line. Bytes that are no UTF-8 become U+FFFD.
std::string lineOf(const nlohmann::ordered_json& value);

}  // namespace vx310ctl
