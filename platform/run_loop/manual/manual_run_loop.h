// SPDX-License-Identifier: MIT
// What tests do to the run loop that is driven by hand. There is one loop; it belongs to whichever
// thread drives it, and descriptors are not watched: every source is simply performed.
#pragma once

#include <cstddef>

#include "platform/run_loop/run_loop.h"

namespace manual_run_loop {

// Performs every source once, in the order in which they were added.
void performAll();

// The number of sources added and not removed.
std::size_t sourceCount();

// False makes CFRunLoopGetCurrent return null, as on a thread that has no loop.
void setAvailable(bool available);

// Lets go of every source and makes the loop available.
void reset();

}  // namespace manual_run_loop
