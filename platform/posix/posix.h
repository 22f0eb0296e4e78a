// SPDX-License-Identifier: MIT
// What the back ends on a POSIX system share. No seam: the logic includes none of this.
//
// Functions that can fail leave errno as the reason. All paths are absolute. Any thread, but none
// may change the environment meanwhile.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

// An open file, closed at the end of its owner; none when it is below 0.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      reset();
      descriptor_ = other.release();
    }
    return *this;
  }

  void reset() {
    if (descriptor_ >= 0) ::close(release());
  }
  int get() const { return descriptor_; }
  // Gives it away, unclosed.
  int release() { return std::exchange(descriptor_, -1); }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

// The folder of the user's preferences, which need not be there: below the folder that
// XDG_CONFIG_HOME names, or else below ".config" in the home folder. Paths that are not absolute
// count for nothing; empty when there is none.
std::string preferencesFolder();

// Makes `folder` and what is missing above it, durably and for this user alone. True also when
// something of that name was there.
bool makeFolder(const std::string& folder);

// Writes the entries of `folder`, which names and renames, to the disk.
bool syncFolder(const std::string& folder);

// All bytes of an open file; nothing when it is no regular file, cannot be read or has more than
// `limit`.
std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t limit);
