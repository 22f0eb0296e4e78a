// SPDX-License-Identifier: MIT
#include "tools/sim_usage.h"

#include <cstdio>

#include "driver/simulator/settings.h"

namespace vx310ctl {

namespace {

constexpr const char* kBeforeSettings =
    "Usage: vx310ctl sim [--interface N] COMMAND\n"
    "Moves the simulated interfaces of the running driver service. Numbers may be decimal or,\n"
    "after 0x, hexadecimal. Interface 0 is meant unless --interface names another.\n"
    "\n"
    "Commands:\n"
    "  plug [--second]          plug the interface in; with --second add another one and print\n"
    "                           its number\n"
    "  unplug                   unplug it; it keeps its settings\n"
    "  list                     list the simulated interfaces\n"
    "  state [--json]           show all that the interface knows\n"
    "  notify NUMBER [--type TYPE] [--size SIZE]\n"
    "                           send a driver message with this notification number, and with\n"
    "                           another type or size word than a driver's\n"
    "  fault none               end all faults and a stall\n"
    "  fault stall [MS]         answer no requests for MS milliseconds, or until 'fault none'\n"
    "  fault KIND [AMOUNT] [command NUMBER] [times COUNT | always]\n"
    "                           spoil the answers to the next request, or the next COUNT, or all;\n"
    "                           only to those with that command number if one is given\n"
    "\n"
    "Fault kinds: short [BYTES], long [BYTES], late [MS], missing, garbled, empty, close (the\n"
    "connection instead of answering), die (the driver service is killed instead of answering),\n"
    "hang (it is stopped instead, until it gets SIGCONT), refuse and ignore (settings: they fail,\n"
    "or are answered but not taken).\n"
    "\n"
    "Settings:\n";

constexpr const char* kAfterSettings =
    "\n"
    "Every call waits at most 2 seconds for the driver service.\n"
    "Exit status: as of vx310ctl; see 'vx310ctl --help'.\n";

}  // namespace

void printSimUsage() {
  std::fputs(kBeforeSettings, stdout);
  for (const auto& setting : driver::settingHelp()) {
    std::printf("  %.*s %.*s\n        %.*s\n", static_cast<int>(setting.name.size()),
                setting.name.data(), static_cast<int>(setting.arguments.size()),
                setting.arguments.data(), static_cast<int>(setting.effect.size()),
                setting.effect.data());
  }
  std::fputs(kAfterSettings, stdout);
}

}  // namespace vx310ctl
