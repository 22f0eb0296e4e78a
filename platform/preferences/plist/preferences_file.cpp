// SPDX-License-Identifier: MIT
#include "platform/preferences/plist/preferences_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/log/log.h"
#include "platform/preferences/preferences.h"
#include "platform/property_list/property_list.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLockLimit{kPreferencesLockLimitMs};

// A lock that was not had in time is kept by a process that hangs. One event of the user causes
// many synchronises of several files: until this time none of them waits again.
Clock::time_point nextWait;
constexpr std::chrono::seconds kWithoutWaits{5};

bool isSameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         isSameTime(a.st_mtim, b.st_mtim) && isSameTime(a.st_ctim, b.st_ctim);
}

bool exists(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0;
}

std::string folderOf(const std::string& path) { return std::filesystem::path(path).parent_path(); }

// The file that `path` leads to through symbolic links, which may not exist.
std::string followed(std::string path) {
  constexpr int kMostLinks = 40;  // as many as the system follows
  std::error_code error;
  for (int links = 0; links < kMostLinks; ++links) {
    const auto target = std::filesystem::read_symlink(path, error);
    if (error) break;
    path = std::filesystem::path(path).parent_path() / target;
  }
  return path;
}

}  // namespace

// --- Values ---

std::optional<CFDictionary> parsePreferences(std::string_view bytes) {
  const auto list = parsePropertyList(bytes);
  const auto* dictionary = list ? list->as<CFDictionary>() : nullptr;
  return dictionary ? std::optional(*dictionary) : std::nullopt;
}

std::optional<std::string> writtenPreferences(const CFDictionary& values) {
  auto bytes = xmlPropertyList(values);
  if (bytes && bytes->size() > kLargestPreferences) bytes.reset();
  return bytes;
}

PreferencesFile::PreferencesFile(std::string folder, std::string_view name)
    : folder_(std::move(folder)), path_(folder_ + "/" + std::string(name)) {}

std::optional<CFValue> PreferencesFile::copy(std::string_view key) {
  if (!wasRead_ && !folder_.empty()) update(FileDescriptor());
  const std::string name = textForXml(key);
  if (const auto change = changes_.find(name); change != changes_.end()) return change->second;
  const CFValue* value = CFDictionaryGetValue(stored_, name);
  return value ? std::optional(*value) : std::nullopt;
}

void PreferencesFile::set(std::string_view key, std::optional<CFValue> value) {
  changes_.insert_or_assign(textForXml(key), std::move(value));
}

void PreferencesFile::retry() {
  if (hasFailed_) synchronize();
}

bool PreferencesFile::synchronize() {
  if (folder_.empty()) return false;
  const bool done = changes_.empty() && isOnDisk() ? update(FileDescriptor()) : store();
  hasFailed_ = !done;
  if (done) hasComplained_ = false;
  return done;
}

// Whether the file is still the one that stored_ was read from.
bool PreferencesFile::isUnchanged() const {
  if (!wasRead_) return false;
  struct stat now;
  if (::stat(path_.c_str(), &now) != 0) return errno == ENOENT && !file_;
  return file_ && isSameFile(now, status_);
}

// Whether stored_ is in a file. Not so after a damaged file was kept aside and stored_ could not be
// written in its place.
bool PreferencesFile::isOnDisk() const { return file_ || stored_.empty(); }

PreferencesFile::ReadResult PreferencesFile::read() {
  if (isUnchanged()) return ReadResult::kDone;
  wasRead_ = true;
  // Without O_NONBLOCK, opening a pipe would wait for a writer.
  FileDescriptor file(::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno == ENOENT) {
    stored_.clear();
    file_.reset();
    return ReadResult::kDone;
  }
  struct stat status;
  if (!file || ::fstat(file.get(), &status) != 0) return ReadResult::kFailed;
  const auto bytes = readWhole(file, kLargestPreferences);
  if (!bytes) return errno == EFBIG ? ReadResult::kTooLarge : ReadResult::kFailed;
  auto values = parsePreferences(*bytes);
  if (!values) return ReadResult::kDamaged;
  stored_ = *std::move(values);
  file_ = std::move(file);
  status_ = status;
  isDurable_ = false;
  return ReadResult::kDone;
}

// Reads what other processes stored. A damaged file that was read without the lock is read once
// more under it: another process may have replaced it in between.
bool PreferencesFile::update(const FileDescriptor& lock) {
  const ReadResult result = read();
  if (result == ReadResult::kDone) return true;
  if (result == ReadResult::kFailed) return failed("it cannot be read");
  if (lock) return setAside(result == ReadResult::kTooLarge ? "too large" : "damaged");
  const FileDescriptor locked = takeLock();
  return locked && update(locked);
}

FileDescriptor PreferencesFile::takeLock() {
  const std::string path = path_ + ".lock";
  const bool mayWait = Clock::now() >= nextWait;
  FileDescriptor lock = lockFile(path, mayWait ? kLockLimit : std::chrono::milliseconds(0));
  if (lock) return lock;
  if (errno == EWOULDBLOCK) nextWait = Clock::now() + kWithoutWaits;
  failed("it cannot be locked");
  return lock;
}

// Renames the file, which is `what`, to a free name and writes stored_ in its place. The lock is
// held.
bool PreferencesFile::setAside(const char* what) {
  const std::string path = followed(path_);
  int number = 1;
  while (exists(path + ".damaged-" + std::to_string(number))) ++number;
  const std::string aside = path + ".damaged-" + std::to_string(number);
  if (::rename(path.c_str(), aside.c_str()) != 0) return failed("it cannot be kept aside");
  platform::syslog(platform::LogPriority::kWarning,
                   "The preferences file %s is %s; it is kept as %s", path_.c_str(), what,
                   aside.c_str());
  file_.reset();
  return stored_.empty() || put(stored_);
}

bool PreferencesFile::store() {
  if (!makeFolder(folder_)) return failed("its folder cannot be made");
  const FileDescriptor lock = takeLock();
  if (!lock || !update(lock)) return false;
  CFDictionary values = stored_;
  for (const auto& [key, value] : changes_) {
    if (value) {
      values.insert_or_assign(key, *value);
    } else {
      values.erase(key);
    }
  }
  if (!(values == stored_ && isOnDisk() ? makeDurable() : put(std::move(values)))) return false;
  changes_.clear();
  return true;
}

bool PreferencesFile::put(CFDictionary values) {
  const auto bytes = writtenPreferences(values);
  if (!bytes) {
    errno = EFBIG;
    return failed("it cannot hold these values");
  }
  const std::string path = followed(path_);
  FileDescriptor file = replaceFile(path, path + ".new", *bytes, S_IRUSR | S_IWUSR);
  if (!file) return failed("it cannot be written");
  ::fstat(file.get(), &status_);
  file_ = std::move(file);
  stored_ = std::move(values);
  isDurable_ = syncFolder(folderOf(followed(path_)));
  return isDurable_ || failed("it cannot be written");
}

// If another process replaced the file, we cannot tell whether it also synced it.
bool PreferencesFile::makeDurable() {
  if (isDurable_ || !file_) return true;
  isDurable_ = ::fsync(file_.get()) == 0 && syncFolder(folderOf(followed(path_)));
  return isDurable_ || failed("it cannot be written");
}

// Logs `what` and errno, but only once until a synchronise succeeds. Returns false.
bool PreferencesFile::failed(const char* what) {
  if (!hasComplained_) {
    platform::syslog(platform::LogPriority::kWarning, "The preferences file %s: %s (%s)",
                     path_.c_str(), what, std::strerror(errno));
  }
  hasComplained_ = true;
  return false;
}
