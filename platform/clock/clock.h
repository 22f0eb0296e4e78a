// SPDX-License-Identifier: MIT
// Clock seam: the deliberate pauses of the program.
//
// Back ends: posix/ (really waits), memory/ (records each pause and returns at once).
#pragma once

namespace platform {

// Blocks the calling thread for `microseconds`; interruption by a signal does not shorten it.
void usleep(unsigned microseconds);

}  // namespace platform
