// SPDX-License-Identifier: MIT
// vx310ctl: looks at connected interfaces, and moves virtual ones, from a shell.
#include <cstdio>

#include "tools/choice_commands.h"
#include "tools/device_commands.h"
#include "tools/messages.h"
#include "tools/sim_command.h"
#include "tools/watch_command.h"

namespace {

using namespace vx310ctl;

constexpr const char* kUsageText =
    "Usage: vx310ctl COMMAND\n"
    "Looks at the VX-310 interfaces that driver services publish, and moves virtual ones.\n"
    "\n"
    "  list                     list the connected interfaces with their indexes\n"
    "  show [--json] [INDEX]    show all that the interface with this index (default 0) reports\n"
    "  get [--json] [SETTING]   show one setting, or all, of the interface that the panel shows\n"
    "  set SETTING ITEM         set it, as a pick in the panel does, to an item's text or number\n"
    "  watch [--json]           show what happens to that interface, a line an event\n"
    "  sim COMMAND              move a virtual interface; see 'vx310ctl sim --help'\n"
    "  --help                   show this help and exit\n"
    "  --version                show the version and exit\n"
    "\n"
    "Settings: input-1-2, input-3-4, input-5-6, line-output, digital-output, clock-source and\n"
    "digital-output-format. 'set' with an unknown item lists the items. What it changes lasts\n"
    "until the panel finds the interface the next time and sets the choices that were made in it;\n"
    "routings are also lost when the driver restarts, which starts with the clock source and the\n"
    "output format that were set last.\n"
    "\n"
    "'watch' also waits for a driver to come. It ends when it is interrupted, or with status 1\n"
    "when the session bus goes away.\n"
    "\n"
    "Each request to an interface waits at most 250 milliseconds for its driver.\n"
    "\n"
    "Exit status:\n"
    "  0  done\n"
    "  1  the interface or its driver refused, failed or did not answer in time, the session bus\n"
    "     cannot be reached, or the output cannot be written\n"
    "  2  the command line is wrong\n"
    "  3  no driver service is running\n"
    "  4  there is no such interface\n";

ExitStatus run(const std::vector<std::string>& words) {
  const std::string command = words.empty() ? "" : words[0];
  if (command == "list") return runList({words.begin() + 1, words.end()});
  if (command == "show") return runShow({words.begin() + 1, words.end()});
  if (command == "get") return runGet({words.begin() + 1, words.end()});
  if (command == "set") return runSet({words.begin() + 1, words.end()});
  if (command == "watch") return runWatch({words.begin() + 1, words.end()});
  if (command == "sim") return runSim({words.begin() + 1, words.end()});
  if (command == "--help") {
    std::fputs(kUsageText, stdout);
    return kDone;
  }
  if (command == "--version") {
    std::puts("vx310ctl " VX310_VERSION);
    return kDone;
  }
  return wrong(command.empty() ? "a command is missing" : "there is no command '" + command + "'");
}

}  // namespace

int main(int count, char** words) {
  const ExitStatus status = run({words + 1, words + count});
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  std::fputs("vx310ctl: the output cannot be written\n", stderr);
  return kFailed;
}
