// SPDX-License-Identifier: MIT
// What tests do to the in-memory clock: see the pauses, and let something happen during one.
#pragma once

#include <functional>
#include <vector>

namespace memory_clock {

// The pauses since the last reset, in microseconds.
const std::vector<unsigned>& pauses();

// Called at each pause with its length; stands for what happens on the machine meanwhile.
void onPause(std::function<void(unsigned microseconds)> action);

void reset();

}  // namespace memory_clock
