// SPDX-License-Identifier: MIT
#include "driver/virtual_control/fault.h"

#include <algorithm>
#include <array>

#include "protocol/numbers.h"

namespace driver {

namespace {

struct KindName {
  std::string_view name;
  FaultKind kind;
  // Default and maximum amount; 0 for faults that take none.
  std::uint32_t usualAmount;
  std::uint32_t largestAmount;
};

constexpr std::array kKinds = {KindName{"short", FaultKind::shortAnswer, 100, 259},
                               KindName{"long", FaultKind::longAnswer, 300, 65536},
                               KindName{"late", FaultKind::late, 400, 60000},
                               KindName{"missing", FaultKind::missing, 0, 0},
                               KindName{"garbled", FaultKind::garbled, 0, 0},
                               KindName{"empty", FaultKind::empty, 0, 0},
                               KindName{"close", FaultKind::close, 0, 0},
                               KindName{"die", FaultKind::die, 0, 0},
                               KindName{"hang", FaultKind::hang, 0, 0},
                               KindName{"refuse", FaultKind::refuse, 0, 0},
                               KindName{"ignore", FaultKind::ignore, 0, 0}};

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

std::optional<Fault> parseFault(const std::vector<std::string>& words, std::string* problem) {
  const auto* kind = std::find_if(kKinds.begin(), kKinds.end(), [&words](const KindName& entry) {
    return !words.empty() && entry.name == words[0];
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
