// SPDX-License-Identifier: MIT
#include "driver/virtual_control/fault.h"

#include <algorithm>
#include <array>

#include "driver/virtual_control/usage.h"
#include "protocol/numbers.h"

namespace driver {

namespace {

struct Kind {
  Usage usage;
  FaultKind kind;
  // Default and maximum amount; 0 for faults that take none.
  std::uint32_t usualAmount;
  std::uint32_t largestAmount;
};

constexpr std::array kKinds = {
    Kind{{"short", "[BYTES]", "the answer has only BYTES bytes"}, FaultKind::shortAnswer, 100, 259},
    Kind{{"long", "[BYTES]", "the answer is padded to BYTES bytes"},
         FaultKind::longAnswer,
         300,
         65536},
    Kind{{"late", "[MS]", "the answer comes late"}, FaultKind::late, 400, 60000},
    Kind{{"missing", "", "the request is carried out and not answered"}, FaultKind::missing, 0, 0},
    Kind{{"garbled", "", "every bit of the answer is inverted"}, FaultKind::garbled, 0, 0},
    Kind{{"empty", "", "the answer has no bytes"}, FaultKind::empty, 0, 0},
    Kind{{"close", "", "the connection is closed instead of answering"}, FaultKind::close, 0, 0},
    Kind{{"die", "", "the driver service is killed instead of answering"}, FaultKind::die, 0, 0},
    Kind{
        {"hang", "", "the driver service is stopped until it gets SIGCONT"}, FaultKind::hang, 0, 0},
    Kind{{"refuse", "", "settings fail, also routings written to the audio device (command 40)"},
         FaultKind::refuse,
         0,
         0},
    Kind{{"ignore", "", "settings are answered but not taken"}, FaultKind::ignore, 0, 0}};

bool readOption(const std::vector<std::string>& words, std::size_t& next, Fault& fault) {
  const std::string& word = words[next++];
  if (word == "always") {
    fault.times.reset();
    return true;
  }
  if ((word != "command" && word != "times") || next == words.size()) return false;
  const auto number = parseNumber(words[next++]);
  (word == "command" ? fault.command : fault.times) = number;
  return number && !(word == "times" && *number == 0);
}

}  // namespace

std::string_view nameOf(FaultKind kind) {
  return std::ranges::find(kKinds, kind, &Kind::kind)->usage.name;
}

std::string faultsHelp() { return helpSection("Fault kinds", kKinds); }

std::optional<Fault> parseFault(const std::vector<std::string>& words, std::string* problem) {
  const auto* kind = std::find_if(kKinds.begin(), kKinds.end(), [&words](const Kind& entry) {
    return !words.empty() && entry.usage.name == words[0];
  });
  if (kind == kKinds.end()) {
    *problem = words.empty() ? "no fault is named" : "there is no fault '" + words[0] + "'";
    return std::nullopt;
  }
  Fault fault{kind->kind, kind->usualAmount, std::nullopt, 1};
  std::size_t next = 1;
  if (kind->largestAmount != 0 && next < words.size()) {
    if (const auto amount = parseNumber(words[next], kind->largestAmount)) {
      fault.amount = *amount;
      ++next;
    }
  }
  while (next < words.size()) {
    const std::string& word = words[next];
    if (!readOption(words, next, fault)) {
      *problem = "'" + word + "' is not understood after '" + words[0] + "'";
      return std::nullopt;
    }
  }
  return fault;
}

}  // namespace driver
