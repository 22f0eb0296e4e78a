// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/log/log.h"
#include "platform/log/posix/formatted.h"
#include "platform/posix/posix.h"

namespace {

// Held from the look for room to the write, so that no other thread takes the room.
std::mutex mutex;

// False also when nobody can read what is written: that would cause SIGPIPE.
bool hasRoom(int descriptor) {
  pollfd state{descriptor, POLLOUT, 0};
  return ::poll(&state, 1, 0) == 1 && state.revents == POLLOUT;
}

// A terminal with room for a byte would wait for room for the whole text, so it is opened once
// more, non-blocking. Its first description, which may be the shell's too, stays as it is.
FileDescriptor openTerminal(int descriptor) {
  if (!::isatty(descriptor)) return {};
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  return FileDescriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

// Writes as much as is taken at once; the rest is dropped.
void print(std::FILE* stream, std::string_view text) {
  const std::lock_guard lock(mutex);
  int descriptor = ::fileno(stream);
  if (!hasRoom(descriptor)) return;
  std::fflush(stream);
  const FileDescriptor terminal = openTerminal(descriptor);
  if (terminal) descriptor = terminal.get();
  // A pipe or socket with room takes PIPE_BUF bytes without a wait.
  while (!text.empty() && hasRoom(descriptor)) {
    const ssize_t count =
        ::write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (count < 0 && errno != EINTR) return;
    text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
}

}  // namespace

namespace platform {

void printOutput(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  print(stdout, formatted(format, arguments));
  va_end(arguments);
}

void printError(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  print(stderr, formatted(format, arguments));
  va_end(arguments);
}

}  // namespace platform
