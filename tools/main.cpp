// vx310ctl: looks at connected interfaces, and moves simulated ones, from a shell.
#include <cstdio>

#include "tools/device_commands.h"
#include "tools/sim_command.h"

namespace {

using namespace vx310ctl;

constexpr const char* kUsageText =
    "Usage: vx310ctl COMMAND\n"
    "Looks at the VX-310 interfaces that driver services publish, and moves simulated ones.\n"
    "\n"
    "  list                     list the connected interfaces with their indexes\n"
    "  show [--json] [INDEX]    show all that the interface with this index (default 0) reports\n"
    "  sim COMMAND              move a simulated interface; see 'vx310ctl sim --help'\n"
    "  --help                   show this help and exit\n"
    "  --version                show the version and exit\n"
    "\n"
    "Each request to an interface waits at most 250 milliseconds for its driver.\n"
    "\n"
    "Exit status:\n"
    "  0  done\n"
    "  1  the interface or its driver refused, failed or did not answer in time\n"
    "  2  the command line is wrong\n"
    "  3  no driver service is running\n"
    "  4  there is no such interface\n";

ExitStatus run(const Words& words) {
  const std::string command = words.empty() ? "" : words[0];
  if (command == "list") return runList({words.begin() + 1, words.end()});
  if (command == "show") return runShow({words.begin() + 1, words.end()});
  if (command == "sim") return runSim({words.begin() + 1, words.end()});
  if (command == "--help") {
    std::fputs(kUsageText, stdout);
    return kDone;
  }
  if (command == "--version") {
    std::puts("vx310ctl " VX310_VERSION);
    return kDone;
  }
  if (command.empty()) {
    std::fputs("vx310ctl: a command is missing\n", stderr);
  } else {
    std::fprintf(stderr, "vx310ctl: there is no command '%s'\n", command.c_str());
  }
  std::fputs("Try 'vx310ctl --help'.\n", stderr);
  return kUsage;
}

}  // namespace

int main(int count, char** words) { return run({words + 1, words + count}); }
