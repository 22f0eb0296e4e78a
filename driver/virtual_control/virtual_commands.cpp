// SPDX-License-Identifier: MIT
#include "driver/virtual_control/virtual_commands.h"

#include <nlohmann/json.hpp>
#include <optional>

#include "driver/virtual_control/pluggable_interface.h"
#include "protocol/numbers.h"
#include "protocol/services.h"

namespace driver {

namespace {

VirtualAction wrong(std::string* problem, const char* text) {
  *problem = text;
  return nullptr;
}

// Fails the call and returns false when the interface is not plugged in.
bool checkPlugged(PluggableInterface& interface, const VirtualCall& call) {
  if (interface.usbPort().publication()) return true;
  call.fail(kNotPluggedError, "The interface is not plugged in");
  return false;
}

VirtualAction parseUnplug(const Words& words, std::string* problem) {
  if (words.size() > 1) return wrong(problem, "'unplug' takes nothing");
  return [](PluggableInterface& interface, const VirtualCall& call) {
    interface.usbPort().unplug();
    call.succeed();
  };
}

VirtualAction parseState(const Words& words, std::string* problem) {
  const bool json = words.size() == 2 && words[1] == "--json";
  if (words.size() > 1 && !json) return wrong(problem, "'state' takes nothing but --json");
  return [json](PluggableInterface& interface, const VirtualCall& call) {
    call.succeed(json ? jsonOf(interface.state()) : linesOf(interface.state()));
  };
}

VirtualAction parseNotify(const Words& words, std::string* problem) {
  constexpr const char* kUsage = "'notify' takes NUMBER [--type TYPE] [--size SIZE]";
  const auto number = words.size() > 1 ? parseNumber(words[1]) : std::nullopt;
  if (!number || words.size() % 2 != 0) return wrong(problem, kUsage);
  std::uint32_t type = kDriverMessage;
  std::uint32_t size = kDriverMessageSize;
  for (std::size_t i = 2; i < words.size(); i += 2) {
    const auto value = parseNumber(words[i + 1]);
    if (!value || (words[i] != "--type" && words[i] != "--size")) return wrong(problem, kUsage);
    (words[i] == "--type" ? type : size) = *value;
  }
  return [number = *number, type, size](PluggableInterface& interface, const VirtualCall& call) {
    if (!checkPlugged(interface, call)) return;
    interface.usbPort().publication()->sendMessage(type, size, number);
    call.succeed();
  };
}

VirtualAction parseStall(const Words& fault, std::string* problem) {
  const auto limit = fault.size() == 2 ? parseNumber(fault[1]) : std::optional<std::uint32_t>(0);
  if (fault.size() > 2 || !limit) {
    return wrong(problem, "'fault stall' takes a number of milliseconds, or nothing");
  }
  return [limit = *limit](PluggableInterface& interface, const VirtualCall& call) {
    if (!checkPlugged(interface, call)) return;
    interface.stall(limit == 0 ? std::nullopt : std::optional(std::chrono::milliseconds(limit)));
    call.succeed();
  };
}

VirtualAction parseFaultCommand(const Words& words, std::string* problem) {
  const Words fault(words.begin() + 1, words.end());
  if (!fault.empty() && fault[0] == "stall") return parseStall(fault, problem);
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
  const std::string command = words.empty() ? "" : words[0];
  if (command == "unplug") return parseUnplug(words, problem);
  if (command == "state") return parseState(words, problem);
  if (command == "notify") return parseNotify(words, problem);
  if (command == "fault") return parseFaultCommand(words, problem);
  return parseSetting(words, problem);
}

}  // namespace driver
