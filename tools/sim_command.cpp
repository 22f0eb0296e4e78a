// SPDX-License-Identifier: MIT
#include "tools/sim_command.h"

#include <cstdio>
#include <optional>

#include "driver/simulator/fault.h"
#include "driver/simulator/json.h"
#include "driver/simulator/settings.h"
#include "driver/simulator/words.h"
#include "protocol/services.h"
#include "tools/sim_usage.h"

namespace vx310ctl {

namespace {

constexpr std::uint32_t kAny32 = 0xFFFFFFFF;

ExitStatus wrong(const std::string& problem) {
  std::fprintf(stderr, "vx310ctl: %s\nTry 'vx310ctl sim --help'.\n", problem.c_str());
  return kUsage;
}

// The number that follows an option; nothing when none follows. `next` stands at the option.
std::optional<std::uint32_t> optionValue(const Words& words, std::size_t& next) {
  ++next;
  return next < words.size() ? driver::parseNumber(words[next], kAny32) : std::nullopt;
}

// Does `action` with a connected client.
template <typename Action>
ExitStatus withClient(const Action& action) {
  SimulatorClient client;
  const ExitStatus status = client.connect();
  return status == kDone ? action(client) : status;
}

ExitStatus plug(std::uint32_t interface, const Words& words) {
  const bool another = words.size() == 2 && words[1] == "--second";
  if (words.size() > 1 && !another) return wrong("'plug' takes nothing but --second");
  return withClient([&](SimulatorClient& client) {
    if (!another) return client.plug(interface);
    std::uint32_t number = 0;
    const ExitStatus status = client.add(&number);
    if (status == kDone) std::printf("%u\n", number);
    return status;
  });
}

ExitStatus unplug(std::uint32_t interface, const Words& words) {
  if (words.size() > 1) return wrong("'unplug' takes nothing");
  return withClient([&](SimulatorClient& client) { return client.unplug(interface); });
}

ExitStatus notify(std::uint32_t interface, const Words& words) {
  const auto number = words.size() > 1 ? driver::parseNumber(words[1], kAny32) : std::nullopt;
  std::optional<std::uint32_t> type = kDriverMessage;
  std::optional<std::uint32_t> size = kDriverMessageSize;
  bool understood = number.has_value();
  for (std::size_t i = 2; understood && i < words.size(); ++i) {
    if (words[i] == "--type") {
      type = optionValue(words, i);
    } else if (words[i] == "--size") {
      size = optionValue(words, i);
    } else {
      understood = false;
    }
    understood = understood && type && size;
  }
  if (!understood) return wrong("'notify' takes NUMBER [--type TYPE] [--size SIZE]");
  return withClient(
      [&](SimulatorClient& client) { return client.notify(interface, *number, *type, *size); });
}

ExitStatus stall(std::uint32_t interface, const Words& fault) {
  const auto limit = fault.size() == 2 ? driver::parseNumber(fault[1], kAny32) : std::nullopt;
  if (fault.size() > 2 || (fault.size() == 2 && !limit)) {
    return wrong("'fault stall' takes a number of milliseconds, or nothing");
  }
  return withClient(
      [&](SimulatorClient& client) { return client.stall(interface, limit.value_or(0)); });
}

ExitStatus fault(std::uint32_t interface, const Words& words) {
  const Words fault(words.begin() + 1, words.end());
  if (!fault.empty() && fault[0] == "stall") return stall(interface, fault);
  if (fault.size() == 1 && fault[0] == "none") {
    return withClient([&](SimulatorClient& client) { return client.clearFaults(interface); });
  }
  std::string problem;
  if (!driver::parseFault(fault, &problem)) return wrong(problem);
  return withClient([&](SimulatorClient& client) { return client.addFault(interface, fault); });
}

ExitStatus state(std::uint32_t interface, const Words& words) {
  const bool json = words.size() == 2 && words[1] == "--json";
  if (words.size() > 1 && !json) return wrong("'state' takes nothing but --json");
  std::vector<std::pair<std::string, std::string>> state;
  const ExitStatus status =
      withClient([&](SimulatorClient& client) { return client.state(interface, &state); });
  if (status != kDone) return status;
  const char* separator = "{";
  for (const auto& [name, value] : state) {
    if (json) {
      std::printf("%s\"%s\": %s", separator, name.c_str(), value.c_str());
      separator = ", ";
    } else {
      std::printf("%s: %s\n", name.c_str(), driver::readableJson(value).c_str());
    }
  }
  if (json) std::puts("}");
  return kDone;
}

ExitStatus list(const Words& words) {
  if (words.size() > 1) return wrong("'list' takes nothing");
  std::vector<SimulatorClient::Listed> interfaces;
  const ExitStatus status =
      withClient([&](SimulatorClient& client) { return client.list(&interfaces); });
  for (std::size_t i = 0; i < interfaces.size(); ++i) {
    std::printf("%zu  %s  %s\n", i, interfaces[i].plugged ? "plugged  " : "unplugged",
                interfaces[i].productName.c_str());
  }
  return status;
}

ExitStatus set(std::uint32_t interface, const Words& words) {
  // Whether the words are right does not depend on the interface.
  driver::Model scratch;
  std::string problem;
  if (driver::applySetting(scratch, words, &problem) == driver::SettingResult::wrongArguments) {
    return wrong(problem);
  }
  return withClient([&](SimulatorClient& client) { return client.set(interface, words); });
}

}  // namespace

ExitStatus runSim(const Words& given) {
  Words words = given;
  std::uint32_t interface = 0;
  if (!words.empty() && words[0] == "--interface") {
    const auto number = words.size() > 1 ? driver::parseNumber(words[1], kAny32) : std::nullopt;
    if (!number) return wrong("--interface takes a number");
    interface = *number;
    words.erase(words.begin(), words.begin() + 2);
  }
  if (words.empty()) return wrong("'sim' needs a command");
  const std::string& command = words[0];
  if (command == "--help") {
    printSimUsage();
    return kDone;
  }
  if (command == "plug") return plug(interface, words);
  if (command == "unplug") return unplug(interface, words);
  if (command == "notify") return notify(interface, words);
  if (command == "fault") return fault(interface, words);
  if (command == "state") return state(interface, words);
  if (command == "list") return list(words);
  return set(interface, words);
}

}  // namespace vx310ctl
