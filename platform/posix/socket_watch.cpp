// SPDX-License-Identifier: MIT
#include "platform/posix/posix.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

SocketWatch::SocketWatch(std::string path)
    : path_(std::move(path)), inotify_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

void SocketWatch::arm() {
  do {
    if (watch_ >= 0) ::inotify_rm_watch(inotify_.get(), std::exchange(watch_, -1));
    watchDeepestFolder();
    // A folder that was made after the watch on it failed and before its parent was watched causes
    // no event: check for it.
  } while (watch_ >= 0 && awaited_ != path_ && ::access(awaited_.c_str(), F_OK) == 0);
}

void SocketWatch::watchDeepestFolder() {
  constexpr std::uint32_t kEvents =
      IN_CREATE | IN_ATTRIB | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
  awaited_ = path_;
  for (;;) {
    const std::size_t slash = awaited_.rfind('/');
    if (slash == std::string::npos) return;
    const std::string folder = awaited_.substr(0, slash);
    watch_ = ::inotify_add_watch(inotify_.get(), folder.empty() ? "/" : folder.c_str(), kEvents);
    if (watch_ >= 0 || folder.empty()) return;
    awaited_ = folder;
  }
}

bool SocketWatch::takeEvents() {
  const std::string awaitedName = awaited_.substr(awaited_.rfind('/') + 1);
  bool concerned = false;
  alignas(inotify_event) std::array<char, 4096> buffer;
  for (ssize_t length; (length = ::read(inotify_.get(), buffer.data(), buffer.size())) > 0;) {
    const char* next = buffer.data();
    const char* const end = next + length;
    while (next < end) {
      inotify_event event;
      std::memcpy(&event, next, sizeof event);
      const char* const name = next + sizeof event;
      next = name + event.len;
      if (event.mask & IN_Q_OVERFLOW) concerned = true;
      if (event.wd != watch_) continue;
      // An event without a name concerns the watched folder, which was moved or deleted.
      if (event.len == 0 || awaitedName == name) concerned = true;
    }
  }
  return concerned;
}
