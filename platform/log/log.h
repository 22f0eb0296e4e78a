// SPDX-License-Identifier: MIT
// Log seam: the system log.
//
// Back ends: posix/ (the syslog of the machine), memory/ (keeps the lines for tests).
#pragma once

namespace platform {

// The priorities that this program uses, with the numbers of RFC 5424, section 6.2.1.
enum class LogPriority { kError = 3, kWarning = 4, kNotice = 5 };

// Writes one message, formatted as printf does. Never fails and never blocks on a reader. Any
// thread.
[[gnu::format(printf, 2, 3)]] void syslog(LogPriority priority, const char* format, ...);

}  // namespace platform
