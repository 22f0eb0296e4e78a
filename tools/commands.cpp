// SPDX-License-Identifier: MIT
#include "tools/commands.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace vx310ctl {

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
