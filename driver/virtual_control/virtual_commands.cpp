// SPDX-License-Identifier: MIT
#include "driver/virtual_control/virtual_commands.h"

#include <nlohmann/json.hpp>
#include <optional>

#include "driver/virtual_control/pluggable_interface.h"
#include "driver/virtual_control/usage.h"
#include "protocol/numbers.h"
#include "protocol/services.h"
#include "protocol/words.h"

namespace driver {

namespace {

// Fails the call and returns false when the interface is not plugged in.
bool checkPlugged(PluggableInterface& interface, const VirtualCall& call) {
  if (interface.usbPort().publication()) return true;
  call.fail(kNotPluggedError, "The interface is not plugged in");
  return false;
}

VirtualAction parseUnplug(const Words& words, std::string* /*problem*/) {
  if (words.size() > 1) return nullptr;
  return [](PluggableInterface& interface, const VirtualCall& call) {
    interface.usbPort().unplug();
    call.succeed();
  };
}

VirtualAction parseState(const Words& words, std::string* /*problem*/) {
  const bool json = words.size() == 2 && words[1] == "--json";
  if (words.size() > 1 && !json) return nullptr;
  return [json](PluggableInterface& interface, const VirtualCall& call) {
    if (!json) return call.succeed(linesOf(interface.state()));
    nlohmann::ordered_json state = {{member::kSchema, kJsonSchema}};
    state.update(interface.state());
    call.succeed(jsonOf(state));
  };
}

VirtualAction parseNotify(const Words& words, std::string* /*problem*/) {
  const auto number = words.size() > 1 ? parseNumber(words[1]) : std::nullopt;
  if (!number || words.size() % 2 != 0) return nullptr;
  std::uint32_t type = kDriverMessage;
  std::uint32_t size = kDriverMessageSize;
  for (std::size_t i = 2; i < words.size(); i += 2) {
    const auto value = parseNumber(words[i + 1]);
    if (!value || (words[i] != "--type" && words[i] != "--size")) return nullptr;
    (words[i] == "--type" ? type : size) = *value;
  }
  return [number = *number, type, size](PluggableInterface& interface, const VirtualCall& call) {
    if (!checkPlugged(interface, call)) return;
    interface.usbPort().publication()->sendMessage(type, size, number);
    call.succeed();
  };
}

VirtualAction parseStall(const Words& fault) {
  const auto limit = fault.size() == 2 ? parseNumber(fault[1]) : std::optional<std::uint32_t>(0);
  if (fault.size() > 2 || !limit) return nullptr;
  return [limit = *limit](PluggableInterface& interface, const VirtualCall& call) {
    if (!checkPlugged(interface, call)) return;
    interface.stall(limit == 0 ? std::nullopt : std::optional(std::chrono::milliseconds(limit)));
    call.succeed();
  };
}

VirtualAction parseFaultCommand(const Words& words, std::string* problem) {
  const Words fault(words.begin() + 1, words.end());
  if (!fault.empty() && fault[0] == "stall") return parseStall(fault);
  if (fault == Words{"none"}) {
    return [](PluggableInterface& interface, const VirtualCall& call) {
      interface.clearFaults();
      call.succeed();
    };
  }
  const auto parsed = parseFault(fault, problem);
  if (!parsed) return nullptr;
  return [fault = *parsed](PluggableInterface& interface, const VirtualCall& call) {
    interface.addFault(fault);
    call.succeed();
  };
}

VirtualAction parseSetting(const Words& words, std::string* problem) {
  // Whether the words are right does not depend on the interface.
  Model scratch;
  if (applySetting(scratch, words, problem) == SettingResult::wrongArguments) return nullptr;
  return [words](PluggableInterface& interface, const VirtualCall& call) {
    std::string refusal;
    const auto done = [call] { call.succeed(); };
    if (interface.set(words, &refusal, done) != SettingResult::done) {
      call.fail(kRefusedError, refusal);
    }
  };
}

struct Command {
  Usage usage;
  // Empty for wrong words; *problem then may say what is wrong with them.
  VirtualAction (*parse)(const Words& words, std::string* problem);
};

constexpr Command kCommands[] = {
    {{"unplug", "", "unplug the interface; it keeps its settings"}, parseUnplug},
    {{"state", "[--json]", "show all that the interface knows"}, parseState},
    {{"notify", "NUMBER [--type TYPE] [--size SIZE]",
      "send a driver message with this number, and with another type or size than a driver's"},
     parseNotify},
    {{"fault", "none | stall [MS] | KIND [AMOUNT] [command NUMBER] [times COUNT | always]",
      "none: end all faults and a stall\n"
      "        stall: answer no requests for MS milliseconds, or until 'fault none'\n"
      "        KIND: spoil the answers to the next request, or the next COUNT, or all; only to\n"
      "        those with that command number if one is given"},
     parseFaultCommand},
};

}  // namespace

void VirtualCall::succeed(const std::string& output) const {
  sd_bus_reply_method_return(message_.get(), "s", output.c_str());
}

void VirtualCall::fail(const char* error, const std::string& problem) const {
  sd_bus_reply_method_errorf(message_.get(), error, "%s", problem.c_str());
}

void VirtualCall::failAsWrong(const std::string& problem) const {
  fail(SD_BUS_ERROR_INVALID_ARGS, problem);
}

VirtualAction parseVirtualCommand(const Words& words, std::string* problem) {
  for (const Command& command : kCommands) {
    if (words.empty() || command.usage.name != words[0]) continue;
    VirtualAction action = command.parse(words, problem);
    if (!action && problem->empty()) *problem = expectedArguments(command.usage);
    return action;
  }
  return parseSetting(words, problem);
}

std::string virtualCommandsHelp() {
  return helpSection("Commands for an interface", kCommands) + faultsHelp() + settingsHelp();
}

std::string virtualCommandHelp(std::string_view name) {
  const std::string help = commandHelp(name, kCommands) + settingHelp(name);
  return name == "fault" ? help + faultsHelp() : help;
}

}  // namespace driver
