// SPDX-License-Identifier: MIT
// vx310-check-driver: holds a driver service to docs/driver-protocol.md, sentence by sentence.
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>

#include "driver/check/check.h"
#include "driver/check/session.h"
#include "platform/command_line/command_line.h"
#include "platform/posix/posix.h"

namespace {

using check::Check;
using check::Session;
using check::Verdict;

constexpr const char* kProgram = "vx310-check-driver";

enum ExitStatus { kHolds = 0, kWrong = 1, kNoDriver = 5 };

struct Found {
  check::Section section;
  const Check* check;
  Verdict verdict;
};

const char* wordOf(Verdict::State state) {
  constexpr std::array kWords = {"ok", "WRONG", "skipped"};
  return kWords[static_cast<std::size_t>(state)];
}

// A driver may send any bytes: none of them may move the cursor.
std::string printable(const std::string& text) {
  std::string safe;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    safe += byte < 0x20 || byte == 0x7f ? '?' : character;
  }
  return safe;
}

void print(const Check& check, const Verdict& verdict) {
  std::printf("%-8s %s", wordOf(verdict.state), check.sentence);
  if (verdict.state == Verdict::State::wrong) {
    std::printf(": expected %s; came %s", printable(verdict.expected).c_str(),
                printable(verdict.came).c_str());
  } else if (verdict.state == Verdict::State::skipped) {
    std::printf(": %s", printable(verdict.came).c_str());
  }
  std::putchar('\n');
  std::fflush(stdout);
}

std::ptrdiff_t count(const std::vector<Found>& found, Verdict::State state) {
  return std::ranges::count(found, state, [](const Found& one) { return one.verdict.state; });
}

void printSummary(const Session& session, const std::vector<Found>& found) {
  std::printf("\n%s: %td ok, %td wrong, %td skipped\n", session.path.c_str(),
              count(found, Verdict::State::ok), count(found, Verdict::State::wrong),
              count(found, Verdict::State::skipped));
}

void printJson(const Session& session, const std::vector<Found>& found) {
  check::Value checks = check::Value::array();
  for (const auto& [section, check, verdict] : found) {
    check::Value entry = {{"section", section.title},
                          {"sentence", check->sentence},
                          {"result", wordOf(verdict.state)}};
    if (verdict.state == Verdict::State::wrong) {
      entry["expected"] = verdict.expected;
      entry["came"] = verdict.came;
    } else if (verdict.state == Verdict::State::skipped) {
      entry["reason"] = verdict.came;
    }
    checks.push_back(entry);
  }
  const check::Value result = {{"interface", session.path}, {"checks", checks}};
  std::puts(result.dump(-1, ' ', false, check::Value::error_handler_t::replace).c_str());
}

// Runs a check unless there is an `obstacle`, which a check that goes wrong may find.
Verdict run(const Check& check, Session& session, std::string& obstacle) {
  Verdict verdict;
  if (!obstacle.empty()) {
    verdict.skip(obstacle);
    return verdict;
  }
  check.run(session, verdict);
  if (verdict.state == Verdict::State::wrong) obstacle = session.obstacle();
  if (!obstacle.empty()) verdict.came += "; " + obstacle;
  return verdict;
}

int checkDriver(const check::Options& options, bool json) {
  const check::HeldInterruptions held;
  std::string problem;
  auto bus = check::BusClient::connect(&problem);
  if (!bus) {
    std::fprintf(stderr, "%s: cannot reach the session bus: %s\n", kProgram, problem.c_str());
    return kNoDriver;
  }
  Session session(options, std::move(bus));
  if (!session.find(&problem)) {
    std::fprintf(stderr, "%s: %s\n", kProgram, problem.c_str());
    return kNoDriver;
  }
  const std::array sections = {
      check::Section{"Discovery", check::discoveryChecks()},
      check::Section{"Connections", check::connectionChecks()},
      check::Section{"Commands", check::commandChecks()},
      check::Section{"The audio device", check::audioChecks()},
      check::Section{"Driver messages", check::messageChecks()},
      check::Section{"Time limits", check::timeChecks()},
      check::Section{"Leaving and coming back", check::leavingChecks()},
  };
  std::vector<Found> found;
  std::string obstacle;
  for (const check::Section& section : sections) {
    if (!json) std::printf("%s%s\n", found.empty() ? "" : "\n", section.title);
    for (const Check& check : section.checks) {
      found.push_back({section, &check, run(check, session, obstacle)});
      if (check::isInterrupted() || std::ferror(stdout) != 0) return kWrong;
      if (!json) print(check, found.back().verdict);
    }
  }
  json ? printJson(session, found) : printSummary(session, found);
  return count(found, Verdict::State::wrong) > 0 ? kWrong : kHolds;
}

}  // namespace

int main(int count, char** words) {
  openStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN);  // a reader that has gone is an error, which is explained
  check::Options options;
  bool json = false;
  const auto ended = parseCommandLine(
      kProgram,
      "Holds the driver service on the session bus to the driver protocol, sentence by sentence.",
      count, words, [&](CLI::App& program) {
        program.add_option("--interface", options.interface, "The interface's index (default 0)")
            ->transform(numberUpTo());
        program.add_flag("--json", json, "Print one line of JSON");
        program.add_flag("--intrusive", options.intrusive,
                         "Also send what suspends streaming, writes to the hardware or makes the "
                         "interface leave: commands 33, 36, 37, 38, 42, 76, USB requests");
        program.add_option("--removal", options.removal,
                           "Shell command that makes the interface leave and come back");
        program.add_option("--restart", options.restart,
                           "Shell command that ends the driver service and starts it again");
        program.footer(
            "A line for each sentence: ok, WRONG with what was expected and what came, or skipped\n"
            "with the reason. It changes settings, also sample rate and clock source, and sets\n"
            "them back, also when it is interrupted. --intrusive leaves streaming resumed, and "
            "the\n"
            "interface as it has come back. What cannot be checked is named under \"Checking a\n"
            "driver\" in the driver protocol.\n\n"
            "Exit status: 0 when nothing is wrong, 1 when something is or the output cannot be\n"
            "written, 2 for a wrong command line, 5 when the session bus cannot be reached or\n"
            "there is no driver service or no such interface.");
      });
  return ended ? *ended : finishOutput(kProgram, checkDriver(options, json));
}
