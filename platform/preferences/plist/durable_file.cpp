// SPDX-License-Identifier: MIT
#include "platform/preferences/plist/durable_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kBetweenTries{1};

bool writeWhole(const FileDescriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

// O_EXCL: never writes to a file or through a link that something else put there.
FileDescriptor createFile(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
  FileDescriptor file(::open(path.c_str(), kFlags, S_IRUSR | S_IWUSR));
  if (!file && errno == EEXIST && ::unlink(path.c_str()) == 0) {
    file = FileDescriptor(::open(path.c_str(), kFlags, S_IRUSR | S_IWUSR));
  }
  return file;
}

}  // namespace

FileDescriptor writeNewFile(const std::string& path, std::string_view bytes) {
  FileDescriptor file = createFile(path);
  if (file && !(writeWhole(file, bytes) && ::fsync(file.get()) == 0)) {
    const int reason = errno;
    file.reset();
    ::unlink(path.c_str());
    errno = reason;
  }
  return file;
}

FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds limit) {
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                             S_IRUSR | S_IWUSR));
  const auto end = std::chrono::steady_clock::now() + limit;
  while (file && ::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() >= end) {
      const int reason = errno;
      file.reset();
      errno = reason;
    } else {
      std::this_thread::sleep_for(kBetweenTries);
    }
  }
  return file;
}
