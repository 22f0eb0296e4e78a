// SPDX-License-Identifier: MIT
// Messages to the system log's socket, which never wait for the log's reader: the C library's
// syslog() waits without a limit while nobody reads. Any thread; nothing is kept between messages.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

#include "platform/log/log.h"

namespace system_log {

// The message as RFC 3164 has it, from facility "user" and this process.
std::string lineOf(platform::LogPriority priority, std::time_t now, std::string_view text);

// Sends one datagram to the socket at `path`. The message is dropped when the socket is missing or
// full, or the message is larger than the socket takes.
void send(const char* path, std::string_view line);

}  // namespace system_log
