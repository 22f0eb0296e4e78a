// SPDX-License-Identifier: MIT
// The tests' side of the manual run loop. There is one loop, for the thread that calls
// performAll(). It does not watch descriptors: it performs every source.
#pragma once

#include <cstddef>

#include "platform/run_loop/run_loop.h"

namespace manual_run_loop {

// Performs every source once, in the order in which they were added.
void performAll();

// The number of sources added and not removed.
std::size_t sourceCount();

// With false, CFRunLoopGetCurrent returns null, as on a thread without a loop.
void setAvailable(bool available);

// Removes every source and makes the loop available.
void reset();

}  // namespace manual_run_loop
