// SPDX-License-Identifier: MIT
// Files in the Preferences folder. An open fork is a file descriptor.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "platform/files/files.h"
#include "platform/posix/posix.h"

namespace {

constexpr std::size_t kLongestName = 255;

OSStatus statusOf(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return fnfErr;
    case EEXIST:
      return dupFNErr;
    case ENAMETOOLONG:
    case EINVAL:
      return bdNamErr;
    case EACCES:
    case EPERM:
      return permErr;
    case EROFS:
      return wPrErr;
    case EMFILE:
    case ENFILE:
      return tmfoErr;
    default:
      return ioErr;
  }
}

bool isFileName(std::string_view name) {
  return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
         name.find('/') == name.npos && name.find('\0') == name.npos;
}

bool isRegular(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

OSStatus FSFindFolder(std::int16_t domain, std::uint32_t type, bool create, FSRef& folder) {
  std::string path = preferencesFolder();
  if (domain != kOnSystemDisk || type != kPreferencesFolderType || path.empty()) return fnfErr;
  if (create) makeFolder(path);
  folder.path = std::move(path);
  return noErr;
}

OSStatus FSMakeFSRefUnicode(const FSRef& folder, std::string_view name, FSRef& file) {
  if (folder.path.empty()) return fnfErr;
  if (!isFileName(name)) return bdNamErr;
  std::string path = folder.path + "/" + std::string(name);
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return statusOf(errno);
  file.path = std::move(path);
  return noErr;
}

OSStatus FSCreateFileUnicode(const FSRef& folder, std::string_view name, FSRef& file) {
  if (folder.path.empty()) return fnfErr;
  if (!isFileName(name)) return bdNamErr;
  makeFolder(folder.path);
  std::string path = folder.path + "/" + std::string(name);
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor < 0) return statusOf(errno);
  close(descriptor);
  file.path = std::move(path);
  return noErr;
}

OSStatus FSGetDataForkName(std::string& name) {
  name.clear();
  return noErr;
}

OSStatus FSOpenFork(const FSRef& file, std::string_view forkName, std::int8_t permission,
                    FSForkRef& fork) {
  if (!forkName.empty()) return errFSForkNotFound;
  // O_NONBLOCK: opening a pipe would wait for a writer. isRegular() then refuses it.
  const int access = permission == fsRdWrPerm ? O_RDWR : O_RDONLY;
  const int descriptor = open(file.path.c_str(), access | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return errno == EISDIR ? ioErr : statusOf(errno);
  const bool fits = descriptor <= std::numeric_limits<FSForkRef>::max();
  if (!fits || !isRegular(descriptor)) {
    close(descriptor);
    return fits ? ioErr : tmfoErr;
  }
  fork = static_cast<FSForkRef>(descriptor);
  return noErr;
}

OSStatus FSReadFork(FSForkRef fork, std::span<char> to, std::size_t& count) {
  count = 0;
  while (count < to.size()) {
    const ssize_t arrived = read(fork, to.data() + count, to.size() - count);
    if (arrived == 0) return eofErr;
    if (arrived > 0) {
      count += static_cast<std::size_t>(arrived);
    } else if (errno != EINTR) {
      return ioErr;
    }
  }
  return noErr;
}

OSStatus FSCloseFork(FSForkRef fork) { return close(fork) == 0 ? noErr : ioErr; }
