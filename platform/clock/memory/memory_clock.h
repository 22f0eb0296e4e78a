// SPDX-License-Identifier: MIT
// The tests' side of the in-memory clock: read the pauses, and run code during a pause. One thread.
#pragma once

#include <functional>
#include <vector>

namespace memory_clock {

// The pauses since the last reset, in microseconds.
const std::vector<unsigned>& pauses();

// Calls `action` during each pause with its length, to cause events on the machine meanwhile.
void onPause(std::function<void(unsigned microseconds)> action);

// Forgets the pauses and the action.
void reset();

}  // namespace memory_clock
