// SPDX-License-Identifier: MIT
// Clock seam: the deliberate pauses of the program. Any thread.
//
// Back ends: posix/ (waits), memory/ (records each pause and returns at once).
#pragma once

namespace platform {

// Blocks the calling thread for at least `microseconds`; a signal does not shorten the pause.
void usleep(unsigned microseconds);

}  // namespace platform
