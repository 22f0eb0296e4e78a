// SPDX-License-Identifier: MIT
// What tests do to the in-memory log: read what was written and printed. Any thread.
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

// The lines written to the system log since the last reset, in order.
std::vector<Line> lines();

// What was printed since the last reset or the last call.
std::string takeOutput();
std::string takeErrors();

void reset();

}  // namespace memory_log
