// SPDX-License-Identifier: MIT
#include <chrono>
#include <thread>

#include "platform/clock/clock.h"

namespace platform {

void usleep(unsigned microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

}  // namespace platform
