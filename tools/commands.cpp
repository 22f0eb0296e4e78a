// SPDX-License-Identifier: MIT
#include "tools/commands.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace vx310ctl {

ExitStatus wrong(const std::string& problem, const char* command) {
  std::fprintf(stderr, "vx310ctl: %s\nTry '%s --help'.\n", problem.c_str(), command);
  return kUsage;
}

std::string lineOf(std::string_view name, std::string_view text) {
  constexpr std::size_t kTextColumn = 24;
  std::string line = std::string(name) + ':';
  line.resize(std::max(line.size(), kTextColumn), ' ');
  return line.append(text) + '\n';
}

std::string lineOf(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace vx310ctl
