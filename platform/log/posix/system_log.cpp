// SPDX-License-Identifier: MIT
#include "platform/log/posix/system_log.h"

#include <errno.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "platform/posix/posix.h"

namespace system_log {

namespace {

constexpr int kFacilityUser = 1;
// English in every locale.
constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

}  // namespace

std::string lineOf(platform::LogPriority priority, std::time_t now, std::string_view text) {
  std::tm time = {};
  ::localtime_r(&now, &time);
  char start[64];
  std::snprintf(start, sizeof start, "<%d>%s %2d %02d:%02d:%02d ",
                kFacilityUser * 8 + static_cast<int>(priority),
                kMonths[static_cast<std::size_t>(time.tm_mon)], time.tm_mday, time.tm_hour,
                time.tm_min, time.tm_sec);
  return std::string(start)
      .append(::program_invocation_short_name)
      .append("[" + std::to_string(::getpid()) + "]: ")
      .append(text);
}

void send(const char* path, std::string_view line) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::size_t size = std::strlen(path) + 1;
  if (size > sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path, size);
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  ::sendto(socket.get(), line.data(), line.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace system_log
