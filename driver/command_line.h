// SPDX-License-Identifier: MIT
// The command line of vx310-driver.
#pragma once

#include <string>

namespace driver {

inline constexpr int kExitUsage = 2;

struct CommandLine {
  unsigned interfaces = 1;  // plugged in at the start
  bool help = false;
  bool version = false;
};

inline constexpr const char* kUsage =
    "Usage: vx310-driver [OPTION]...\n"
    "Serves a virtual VX-310 audio interface on the session bus until it is terminated.\n"
    "\n"
    "  --unplugged    start without an interface; 'vx310ctl sim plug' plugs it in\n"
    "  --count N      start with N interfaces (0 to 1024)\n"
    "  -h, --help     show this help and exit\n"
    "  --version      show the version and exit\n"
    "\n"
    "Exit status: 0 after SIGTERM or SIGINT, 1 when the session bus cannot be used or its name\n"
    "com.vantrel.Driver1 is taken, 2 for a wrong command line.\n";

// False for a wrong command line; *problem then says what is wrong.
bool parseCommandLine(int count, const char* const* words, CommandLine& line, std::string* problem);

}  // namespace driver
