// SPDX-License-Identifier: MIT
// What tests do to the in-memory system log: read what was written. Any thread.
#pragma once

#include <string>
#include <vector>

#include "platform/log/log.h"

namespace memory_log {

struct Line {
  platform::LogPriority priority;
  std::string text;
  bool operator==(const Line&) const = default;
};

// The lines since the last reset, in order.
std::vector<Line> lines();

void reset();

}  // namespace memory_log
