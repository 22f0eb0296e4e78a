// SPDX-License-Identifier: MIT
// `vx310ctl sim`: the driver's virtual interfaces, reached over the session bus.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "protocol/services.h"
#include "tools/commands.h"
#include "tools/interfaces.h"

namespace vx310ctl {

namespace {

using session_bus::BusMessage;

ExitStatus explain(const char* what) {
  std::fprintf(stderr, "vx310ctl: %s\n", what);
  return kFailed;
}

void printLines(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    std::puts(printable(line).c_str());
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
}

ExitStatus explainFailure(const char* what, int result) {
  std::fprintf(stderr, "vx310ctl: %s: %s\n", what, std::strerror(-result));
  return kFailed;
}

ExitStatus explainError(const sd_bus_error& error) {
  const auto is = [&error](const char* name) { return sd_bus_error_has_name(&error, name) != 0; };
  if (is(SD_BUS_ERROR_SERVICE_UNKNOWN) || is(SD_BUS_ERROR_NAME_HAS_NO_OWNER)) {
    explain("no driver service is running (start vx310-driver)");
    return kNoDriver;
  }
  if (is(SD_BUS_ERROR_UNKNOWN_OBJECT) || is(SD_BUS_ERROR_UNKNOWN_METHOD) ||
      is(SD_BUS_ERROR_UNKNOWN_INTERFACE)) {
    return explain("the running driver service has no virtual interfaces");
  }
  if (is(SD_BUS_ERROR_NO_REPLY) || is(SD_BUS_ERROR_TIMEOUT)) {
    return explain("the driver service does not answer");
  }
  const char* message = error.message ? error.message : error.name;
  explain(printable(message).c_str());
  if (is(SD_BUS_ERROR_INVALID_ARGS)) {
    std::fputs("Try 'vx310ctl sim help'.\n", stderr);
    return kUsage;
  }
  return is(kNoInterfaceError) ? kNoInterface : kFailed;
}

// Makes the call of Run. Negative errno on failure.
int makeCall(sd_bus* bus, std::uint32_t interface, const std::vector<std::string>& words,
             BusMessage* call) {
  sd_bus_message* message = nullptr;
  int result = sd_bus_message_new_method_call(bus, &message, kDriverName, kVirtualInterfacesPath,
                                              kVirtualInterfacesInterface, kRunMethod);
  call->reset(message);
  // No auto-start: the user means the driver that is already running.
  if (result >= 0) result = sd_bus_message_set_auto_start(message, 0);
  if (result >= 0) result = sd_bus_message_append(message, "u", interface);
  if (result >= 0) result = sd_bus_message_open_container(message, 'a', "s");
  for (const auto& word : words) {
    if (result >= 0) result = sd_bus_message_append(message, "s", word.c_str());
  }
  return result < 0 ? result : sd_bus_message_close_container(message);
}

// --- Completion ---

constexpr int kCompletionLimitMs = 250;  // of each of both waits after a press of the tabulator key

// The running driver's help; empty when it does not answer in time.
std::string helpOfDriver() {
  session_bus::Bus bus;
  BusMessage call;
  if (session_bus::openSessionBus(kCompletionLimitMs, &bus) < 0 ||
      makeCall(bus.get(), 0, {"help"}, &call) < 0) {
    return {};
  }
  sd_bus_message* answer = nullptr;
  sd_bus_call(bus.get(), call.get(), 0, nullptr, &answer);
  const BusMessage reply(answer);
  const char* help = nullptr;
  return answer && sd_bus_message_read(answer, "s", &help) >= 0 ? help : "";
}

constexpr std::string_view kFaultKinds = "Fault kinds:";
constexpr std::string_view kEntryIndent = "  ";

// Calls `use(section, name, arguments)` for each entry of the help, whose first line is
// "  NAME ARGUMENTS" below "SECTION:".
template <typename Use>
void forEachEntry(std::string_view help, Use use) {
  std::string_view section;
  while (!help.empty()) {
    std::string_view line = help.substr(0, help.find('\n'));
    help.remove_prefix(std::min(line.size() + 1, help.size()));
    if (line.ends_with(':')) section = line;
    if (!line.starts_with(kEntryIndent) || line.starts_with("   ")) continue;
    line.remove_prefix(kEntryIndent.size());
    const std::string_view name = line.substr(0, line.find(' '));
    use(section, name, line.substr(name.size()));
  }
}

// Adds the arguments that stand for themselves: "on", "off" and "--now" of "on|off [--now] [RATE]".
void addLiterals(std::string_view arguments, std::vector<std::string>& words) {
  std::string word;
  for (const char letter : std::string(arguments) + ' ') {
    if (std::string_view(" |[]").find(letter) == std::string_view::npos) {
      word += letter;
      continue;
    }
    const bool stands = std::ranges::none_of(word, [](char c) { return c >= 'A' && c <= 'Z'; });
    if (!word.empty() && stands) words.push_back(word);
    word.clear();
  }
}

}  // namespace

std::vector<std::string> simWords(const std::vector<std::string>& before) {
  std::vector<std::string> words;
  const auto add = [&](std::string_view section, std::string_view name,
                       std::string_view arguments) {
    const bool isKind = section == kFaultKinds;
    const bool isName = before.empty() || before == std::vector<std::string>{"help"};
    if (isName ? !isKind : isKind && before == std::vector<std::string>{"fault"}) {
      words.emplace_back(name);
    } else if (!before.empty() && !isKind && name == before[0]) {
      addLiterals(arguments, words);
    }
  };
  forEachEntry(helpOfDriver(), add);
  return words;
}

ExitStatus runSim(std::uint32_t interface, const std::vector<std::string>& words) {
  session_bus::Bus bus;
  if (const ExitStatus status = connectToBus(&bus); status != kDone) return status;
  BusMessage call;
  int result = makeCall(bus.get(), interface, words, &call);
  if (result < 0) return explainFailure("cannot ask the driver service", result);

  sd_bus_error error{};
  sd_bus_message* answer = nullptr;
  result = sd_bus_call(bus.get(), call.get(), 0, &error, &answer);
  const BusMessage reply(answer);
  const char* output = nullptr;
  ExitStatus status = kDone;
  if (sd_bus_error_is_set(&error)) {
    status = explainError(error);
  } else if (result < 0) {
    status = explainFailure("cannot reach the driver service", result);
  } else if (sd_bus_message_read(answer, "s", &output) < 0) {
    status = explain("the driver service answers something else");
  } else {
    printLines(output);
  }
  sd_bus_error_free(&error);
  return status;
}

}  // namespace vx310ctl
