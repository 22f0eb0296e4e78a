// SPDX-License-Identifier: MIT
// How long the checks wait, in milliseconds, and how much they keep.
#pragma once

#include <cstddef>

namespace check {

// As clients do: for a call and for an answer.
inline constexpr int kAnswerWaitMs = 250;
// What a driver should need for an answer, by the median.
inline constexpr int kUsualAnswerMs = 20;
// For the bus and for what has no limit on the page, such as a message after a change.
inline constexpr int kBusLimitMs = 1000;
// For a driver service that the bus starts.
inline constexpr int kStartLimitMs = 10000;
// How often a wait for the bus looks for other things, too.
inline constexpr int kAskAgainMs = 50;
// For what a person or a command does: unplugging, restarting.
inline constexpr int kActionLimitMs = 60000;

// What is kept of a driver's signals and arrays, which are not as many and as long otherwise.
inline constexpr std::size_t kSignalLimit = 100000;
inline constexpr std::size_t kElementLimit = 65536;

}  // namespace check
