// What the property-list files need of the file system: replacing a file as a whole, durably, and a
// lock between processes. All paths are absolute.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// An open file. Closed by the end of its owner; none when it is below 0.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }

  void reset() {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
  }
  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

// The functions below leave errno as the reason of a failure.

// Makes `folder` and what is missing above it, for this user alone. True also when it was there.
bool makeFolder(const std::string& folder);

// Writes the entries of `folder`, which names and renames, to the disk.
bool syncFolder(const std::string& folder);

// All bytes of an open file; nothing when it cannot be read or has more than `limit`.
std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t limit);

// A new file that holds `bytes`, all of them on the disk, in place of one that is there. None, and
// no file, when that fails.
FileDescriptor writeNewFile(const std::string& path, std::string_view bytes);

// The exclusive lock that a file of that name stands for; none when it is not had within `limit`.
// The lock goes with the descriptor, thus also with a process that dies. The file stays.
FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds limit);
