// SPDX-License-Identifier: MIT
// The checks of a driver, each for one sentence of docs/driver-protocol.md.
#pragma once

#include <span>
#include <string>

namespace check {

struct Session;

// What came of one check. It holds until something shows that it does not; the first problem stays.
struct Verdict {
  enum class State { ok, wrong, skipped };

  State state = State::ok;
  std::string expected;  // of a wrong one
  std::string came;      // of a wrong one; of a skipped one the reason

  // Returns `holds`, and without it records a problem.
  bool expect(bool holds, const std::string& what, const std::string& found) {
    if (!holds && state != State::wrong) *this = {State::wrong, what, found};
    return holds;
  }
  void skip(const std::string& reason) {
    if (state == State::ok) *this = {State::skipped, "", reason};
  }
};

struct Check {
  // As it stands on the page, without its markup; of a table's row the first and the last cell.
  const char* sentence;
  void (*run)(Session& session, Verdict& verdict);
};

struct Section {
  const char* title;  // the page's heading
  std::span<const Check> checks;
};

// In the order in which they are run.
std::span<const Check> discoveryChecks();
std::span<const Check> connectionChecks();
std::span<const Check> commandChecks();
std::span<const Check> audioChecks();
// These look at what was noticed while the checks before them ran.
std::span<const Check> messageChecks();
std::span<const Check> timeChecks();
// These make the interface, and then the driver service, leave and come back.
std::span<const Check> leavingChecks();

}  // namespace check
