#include "platform/preferences/plist/durable_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kBetweenTries{1};

std::string folderAbove(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == 0 || slash == path.npos ? "/" : path.substr(0, slash);
}

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

// Nobody else's file and no link to one: only a file made by this call is written to.
FileDescriptor createFile(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
  FileDescriptor file(::open(path.c_str(), kFlags, S_IRUSR | S_IWUSR));
  if (!file && errno == EEXIST && ::unlink(path.c_str()) == 0) {
    file = FileDescriptor(::open(path.c_str(), kFlags, S_IRUSR | S_IWUSR));
  }
  return file;
}

}  // namespace

bool makeFolder(const std::string& folder) {
  if (::mkdir(folder.c_str(), S_IRWXU) == 0) return syncFolder(folderAbove(folder));
  if (errno == EEXIST) return true;
  if (errno != ENOENT || folder.size() <= 1 || !makeFolder(folderAbove(folder))) return false;
  return ::mkdir(folder.c_str(), S_IRWXU) == 0 ? syncFolder(folderAbove(folder)) : errno == EEXIST;
}

bool syncFolder(const std::string& folder) {
  const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return opened && ::fsync(opened.get()) == 0;
}

std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t limit) {
  struct stat status;
  if (::fstat(file.get(), &status) != 0) return std::nullopt;
  const auto expected = static_cast<std::size_t>(status.st_size);
  // One byte more than there are, so that the end shows itself. The file may be growing.
  std::string bytes(expected <= limit ? expected + 1 : 0, '\0');
  std::size_t size = 0;
  while (expected <= limit && size <= limit) {
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
    if (size == bytes.size()) bytes.resize(std::min(2 * size, limit + 1));
  }
  errno = EFBIG;
  return std::nullopt;
}

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
