// SPDX-License-Identifier: MIT
#include "driver/command_line.h"

#include "driver/virtual_control/virtual_interfaces.h"
#include "driver/virtual_control/words.h"

namespace driver {

bool parseCommandLine(const std::vector<std::string>& words, CommandLine& line,
                      std::string* problem) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "--help") {
      line.help = true;
    } else if (word == "--version") {
      line.version = true;
    } else if (word == "--unplugged") {
      line.interfaces = 0;
    } else if (word == "--count") {
      const auto count = i + 1 < words.size()
                             ? parseNumber(words[++i], VirtualInterfaces::kMaximumInterfaces)
                             : std::nullopt;
      if (!count) {
        *problem = "--count takes a number of interfaces";
        return false;
      }
      line.interfaces = *count;
    } else {
      *problem = "there is no option '" + word + "'";
      return false;
    }
  }
  return true;
}

}  // namespace driver
