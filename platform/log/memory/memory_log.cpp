// SPDX-License-Identifier: MIT
#include "platform/log/memory/memory_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace {

std::mutex mutex;
std::vector<memory_log::Line> writtenLines;
std::string printedOutput;
std::string printedErrors;

[[gnu::format(printf, 2, 0)]] void print(std::string& printed, const char* format,
                                         va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(length < 0 ? 0 : static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  const std::lock_guard lock(mutex);
  printed += text;
}

}  // namespace

namespace memory_log {

std::vector<Line> lines() {
  const std::lock_guard lock(mutex);
  return writtenLines;
}

std::string takeOutput() {
  const std::lock_guard lock(mutex);
  return std::exchange(printedOutput, {});
}

std::string takeErrors() {
  const std::lock_guard lock(mutex);
  return std::exchange(printedErrors, {});
}

void reset() {
  const std::lock_guard lock(mutex);
  writtenLines.clear();
  printedOutput.clear();
  printedErrors.clear();
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

void printOutput(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  print(printedOutput, format, arguments);
  va_end(arguments);
}

void printError(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  print(printedErrors, format, arguments);
  va_end(arguments);
}

}  // namespace platform
