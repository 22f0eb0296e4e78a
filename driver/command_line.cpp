// SPDX-License-Identifier: MIT
#include "driver/command_line.h"

#include <CLI/CLI.hpp>

#include "driver/virtual_control/virtual_interfaces.h"
#include "protocol/numbers.h"

namespace driver {

bool parseCommandLine(int count, const char* const* words, CommandLine& line,
                      std::string* problem) {
  CLI::App program;
  program.allow_extras();  // named below
  program.add_flag("--version", line.version);
  const CLI::Option* unplugged = program.add_flag("--unplugged");
  std::string interfaces = std::to_string(line.interfaces);
  program.add_option("--count", interfaces)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  try {
    program.parse(count, words);
  } catch (const CLI::CallForHelp&) {
    line.help = true;
    return true;
  } catch (const CLI::Error& error) {
    *problem = error.what();
    return false;
  }
  if (const auto extras = program.remaining(); !extras.empty()) {
    *problem = "there is no option '" + extras[0] + "'";
    return false;
  }
  const auto number = parseNumber(interfaces, VirtualInterfaces::kMaximumInterfaces);
  if (!number) {
    *problem = "--count takes a number of interfaces";
    return false;
  }
  // The last of the two options holds.
  const bool endsUnplugged = *unplugged && program.parse_order().back() == unplugged;
  line.interfaces = endsUnplugged ? 0 : *number;
  return true;
}

}  // namespace driver
