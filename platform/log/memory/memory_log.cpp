// SPDX-License-Identifier: MIT
#include "platform/log/memory/memory_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

std::mutex mutex;
std::vector<memory_log::Line> writtenLines;

}  // namespace

namespace memory_log {

std::vector<Line> lines() {
  const std::lock_guard lock(mutex);
  return writtenLines;
}

void reset() {
  const std::lock_guard lock(mutex);
  writtenLines.clear();
}

}  // namespace memory_log

namespace platform {

void syslog(LogPriority priority, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const std::lock_guard lock(mutex);
  writtenLines.push_back({priority, text});
}

}  // namespace platform
