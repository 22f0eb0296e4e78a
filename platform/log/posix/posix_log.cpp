// SPDX-License-Identifier: MIT
#include <syslog.h>

#include <cstdarg>

#include "platform/log/log.h"

namespace platform {

void syslog(LogPriority priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  ::vsyslog(static_cast<int>(priority), format, arguments);
  va_end(arguments);
}

}  // namespace platform
