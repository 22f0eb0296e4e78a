// SPDX-License-Identifier: MIT
// Faults of the transport between clients and an interface, for tests, and how they are named.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace driver {

enum class FaultKind {
  shortAnswer,  // the answer is cut to `amount` bytes
  longAnswer,   // the answer is continued to `amount` bytes
  late,         // the answer comes `amount` milliseconds late
  missing,      // the request is carried out and not answered
  garbled,      // every bit of the answer is the wrong one
  empty,        // the answer is a packet without bytes
  close,        // the connection closes instead of answering
  die,          // the driver process is killed instead of answering
  hang,         // the driver process is stopped, and answers when somebody continues it
  refuse,       // settings fail, routings that are written to the audio device included
  ignore        // settings are answered as if they had been taken
};

struct Fault {
  FaultKind kind;
  std::uint32_t amount = 0;
  std::optional<std::uint32_t> command;  // only requests with this command number
  std::optional<std::uint32_t> times;    // so many requests; without it, all

  bool operator==(const Fault&) const = default;
};

// The kind's name on the command line.
std::string_view nameOf(FaultKind kind);

// Parses a fault: "short 100", "late 400", "missing", …, followed by "command NUMBER",
// "times NUMBER" or "always" in any order; without the last two it applies to one request. nullopt
// for wrong words; *problem then says what is wrong.
std::optional<Fault> parseFault(const std::vector<std::string>& words, std::string* problem);

// The section of `vx310ctl sim help`.
std::string faultsHelp();

}  // namespace driver
