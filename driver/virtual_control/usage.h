// SPDX-License-Identifier: MIT
// How the commands of `vx310ctl sim`, their faults and the settings stand in its help and errors.
// The shell's completion reads the help's layout: see tools/sim_command.cpp.
#pragma once

#include <string>
#include <string_view>

namespace driver {

struct Usage {
  std::string_view name;
  std::string_view arguments;
  std::string_view help;
};

// For wrong arguments.
inline std::string expectedArguments(const Usage& usage) {
  return "'" + std::string(usage.name) + "' takes " +
         std::string(usage.arguments.empty() ? "nothing" : usage.arguments);
}

// A section of the help with an entry for each row of the table, whose rows have a `usage`.
template <typename Table>
std::string helpSection(std::string_view title, const Table& table) {
  std::string section = "\n" + std::string(title) + ":\n";
  for (const auto& row : table) {
    section += "  " + std::string(row.usage.name);
    if (!row.usage.arguments.empty()) section += " " + std::string(row.usage.arguments);
    section += "\n        " + std::string(row.usage.help) + "\n";
  }
  return section;
}

// The help of the command of that name; empty when the table has none.
template <typename Table>
std::string commandHelp(std::string_view name, const Table& table) {
  for (const auto& row : table) {
    if (row.usage.name != name) continue;
    std::string help = "Usage: vx310ctl sim [--interface N] " + std::string(name);
    if (!row.usage.arguments.empty()) help += " " + std::string(row.usage.arguments);
    return help + "\n        " + std::string(row.usage.help) + "\n";
  }
  return {};
}

}  // namespace driver
