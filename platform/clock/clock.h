// SPDX-License-Identifier: MIT
// Clock seam: the deliberate pauses of the program. Any thread.
//
// Back ends: posix/ (pauses), none/ (returns at once: for vx310ctl, whose driver has long been
// started), memory/ (records each pause and returns at once).
#pragma once

namespace platform {

// Blocks the calling thread for at least `microseconds`, if the back end pauses at all; a signal
// does not shorten the pause.
void usleep(unsigned microseconds);

}  // namespace platform
