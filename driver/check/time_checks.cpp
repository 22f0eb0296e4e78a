// SPDX-License-Identifier: MIT
// The check of the time that the answers to the others' requests took.
#include <algorithm>
#include <array>
#include <cmath>

#include "driver/check/session.h"

namespace check {

namespace {

void checkTime(Session& session, Verdict& verdict) {
  auto& times = session.answerMs;
  if (times.empty()) return verdict.skip("no request was answered");
  std::ranges::sort(times);
  const auto rounded = [](double ms) { return std::to_string(std::lround(ms)) + " ms"; };
  verdict.expect(times.back() < kAnswerWaitMs, "each answer within 250 ms",
                 rounded(times.back()) + " for one");
  verdict.expect(times[times.size() / 2] <= kUsualAnswerMs, "most answers within 20 ms",
                 rounded(times[times.size() / 2]) + " for half of them");
}

constexpr std::array kChecks = {Check{"should answer any request: 20 ms, see below", checkTime}};

}  // namespace

std::span<const Check> timeChecks() { return kChecks; }

}  // namespace check
