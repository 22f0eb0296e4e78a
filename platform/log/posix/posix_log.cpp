// SPDX-License-Identifier: MIT
#include <cstdarg>

#include "platform/log/log.h"
#include "platform/log/posix/formatted.h"
#include "platform/log/posix/system_log.h"

namespace platform {

void syslog(LogPriority priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  system_log::send("/dev/log", system_log::lineOf(priority, std::time(nullptr), text));
}

}  // namespace platform
