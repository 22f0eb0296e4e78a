// SPDX-License-Identifier: MIT
// The commands of `vx310ctl sim` that concern one interface: parses their words and carries them
// out.
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace driver {

class PluggableInterface;

using Words = std::vector<std::string>;

// A method call that a command replies to once, now or later.
class VirtualCall {
 public:
  explicit VirtualCall(sd_bus_message* message)
      : message_(sd_bus_message_ref(message), sd_bus_message_unref) {}

  // `output` is UTF-8, as every text on the bus.
  void succeed(const std::string& output = "") const;
  void fail(const char* error, const std::string& problem) const;
  // The words are no command.
  void failAsWrong(const std::string& problem) const;

 private:
  std::shared_ptr<sd_bus_message> message_;
};

using VirtualAction = std::function<void(PluggableInterface& interface, const VirtualCall& call)>;

// Empty for wrong words; *problem then says what is wrong with them.
VirtualAction parseVirtualCommand(const Words& words, std::string* problem);

// The commands, faults and settings for `vx310ctl sim help`.
std::string virtualCommandsHelp();

// The help of the command or setting of that name; empty when there is none.
std::string virtualCommandHelp(std::string_view name);

}  // namespace driver
