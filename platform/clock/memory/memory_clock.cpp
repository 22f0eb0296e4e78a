// SPDX-License-Identifier: MIT
#include "platform/clock/memory/memory_clock.h"

#include <utility>

#include "platform/clock/clock.h"

namespace {

std::vector<unsigned> recordedPauses;
std::function<void(unsigned)> pauseAction;

}  // namespace

namespace memory_clock {

const std::vector<unsigned>& pauses() { return recordedPauses; }

void onPause(std::function<void(unsigned microseconds)> action) { pauseAction = std::move(action); }

void reset() {
  recordedPauses.clear();
  pauseAction = nullptr;
}

}  // namespace memory_clock

namespace platform {

void usleep(unsigned microseconds) {
  recordedPauses.push_back(microseconds);
  if (pauseAction) pauseAction(microseconds);
}

}  // namespace platform
