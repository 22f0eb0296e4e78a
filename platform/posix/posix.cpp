// SPDX-License-Identifier: MIT
#include "platform/posix/posix.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <thread>

namespace {

std::string folderAbove(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == 0 || slash == path.npos ? "/" : path.substr(0, slash);
}

}  // namespace

void openStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) != -1) continue;
    // Open for the other direction. The lowest free number, which open() takes, is this one.
    ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

void allowManyDescriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

std::string preferencesFolder() {
  const char* configuration = std::getenv("XDG_CONFIG_HOME");
  if (configuration && *configuration == '/') {
    return std::string(configuration) + "/vantrel/preferences";
  }
  const char* home = std::getenv("HOME");
  return home && *home == '/' ? std::string(home) + "/.config/vantrel/preferences" : std::string();
}

bool makeFolder(const std::string& folder) {
  const std::string above = folderAbove(folder);
  bool isMade = ::mkdir(folder.c_str(), S_IRWXU) == 0;
  if (!isMade && errno == ENOENT && above != folder) {
    isMade = makeFolder(above) && ::mkdir(folder.c_str(), S_IRWXU) == 0;
  }
  return isMade ? syncFolder(above) : errno == EEXIST;
}

bool syncFolder(const std::string& folder) {
  const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return opened && ::fsync(opened.get()) == 0;
}

bool writeWhole(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

FileDescriptor replaceFile(const std::string& path, const std::string& newPath,
                           std::string_view bytes, std::optional<mode_t> mode) {
  constexpr mode_t kModeBits = 07777;
  constexpr mode_t kForAll = 0666;
  // O_EXCL: never writes to a file or through a link that something else put there.
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
  struct stat old;
  if (!mode && ::stat(path.c_str(), &old) == 0) mode = old.st_mode & kModeBits;
  FileDescriptor file(::open(newPath.c_str(), kFlags, mode.value_or(kForAll)));
  if (!file && errno == EEXIST && ::unlink(newPath.c_str()) == 0) {
    file = FileDescriptor(::open(newPath.c_str(), kFlags, mode.value_or(kForAll)));
  }
  if (!file) return file;
  // The umask may have taken bits away.
  if ((!mode || ::fchmod(file.get(), *mode) == 0) && writeWhole(file.get(), bytes) &&
      ::fsync(file.get()) == 0 && ::rename(newPath.c_str(), path.c_str()) == 0) {
    return file;
  }
  const int reason = errno;
  file.reset();
  ::unlink(newPath.c_str());
  errno = reason;
  return file;
}

FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds limit) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kBetweenTries{1};  // flock() itself has no limit
  FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                             S_IRUSR | S_IWUSR));
  const auto end = Clock::now() + limit;
  while (file && ::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || Clock::now() >= end) {
      const int reason = errno;
      file.reset();
      errno = reason;
    } else {
      std::this_thread::sleep_for(kBetweenTries);
    }
  }
  return file;
}

std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t limit) {
  struct stat status;
  if (::fstat(file.get(), &status) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return std::nullopt;
  }
  const auto expected = static_cast<std::size_t>(status.st_size);
  // Room for one byte more than the file's size, so that read() reports the end. The file may grow
  // meanwhile.
  std::string bytes(expected <= limit ? expected + 1 : 0, '\0');
  std::size_t size = 0;
  while (expected <= limit && size <= limit) {
    if (size == bytes.size()) bytes.resize(std::min(2 * size, limit + 1));
    const ssize_t count = ::read(file.get(), bytes.data() + size, bytes.size() - size);
    if (count == 0) {
      bytes.resize(size);
      return bytes;
    }
    if (count > 0) {
      size += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
  errno = EFBIG;
  return std::nullopt;
}
