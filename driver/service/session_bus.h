// SPDX-License-Identifier: MIT
// A connection to the session bus.
#pragma once

#include <chrono>

#include "driver/service/handles.h"

namespace driver {

// Waits until the bus has let this process in, at most `limit`: 0, or negative errno with *bus left
// alone, -ETIMEDOUT for a bus that does not answer. Blocking calls on the bus wait as long.
int openSessionBus(std::chrono::milliseconds limit, Bus* bus);

}  // namespace driver
