// SPDX-License-Identifier: MIT
// Log seam: the system log, and what a program prints as it works.
//
// Back ends: posix/ (the machine's log socket; either the standard streams or, in the library
// log_posix_silent, nothing printed), memory/ (keeps everything for tests).
#pragma once

namespace platform {

// The priorities that this program uses, with the numbers of RFC 5424, section 6.2.1.
enum class LogPriority { kError = 3, kWarning = 4, kNotice = 5 };

// Writes one message, formatted as printf does. Never fails and never blocks on a reader: a message
// that the system log does not take at once is dropped. Any thread.
[[gnu::format(printf, 2, 3)]] void syslog(LogPriority priority, const char* format, ...);

// Print to the program's standard output and standard error, formatted as printf does: the format
// ends its own lines. Never block on a reader: what the stream does not take at once is dropped.
// Any thread.
[[gnu::format(printf, 1, 2)]] void printOutput(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void printError(const char* format, ...);

}  // namespace platform
