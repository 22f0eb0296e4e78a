// SPDX-License-Identifier: MIT
#include <cstdarg>
#include <cstdio>

#include "platform/log/log.h"

namespace platform {

void printOutput(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
}

void printError(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}

}  // namespace platform
