// SPDX-License-Identifier: MIT
// POSIX helpers that the back ends share. No seam: the logic includes none of this.
//
// A function that fails sets errno. Paths are absolute. Any thread, as long as no thread changes
// the environment.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// Owns an open file descriptor and closes it; empty when negative. Move-only.
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
  // Gives up ownership without closing.
  int release() { return std::exchange(descriptor_, -1); }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

// Opens each of the standard descriptors 0 to 2 that is closed, so that no file that the program
// opens later takes its place and receives what is printed. As on a closed descriptor, reading and
// writing fail. Call it first in main().
void openStandardDescriptors();

// Raises the process's limit of open files as far as it may, which programs that it starts inherit:
// the usual 1024 are soon used up by connections and audio nodes.
void allowManyDescriptors();

// The path of the user's preferences folder, which may not exist: "vantrel/preferences" below
// $XDG_CONFIG_HOME, else below $HOME/.config. Relative values are ignored; empty when neither is
// set.
std::string preferencesFolder();

// Makes `folder` and its missing parents with mode 0700 and syncs each entry to disk. Returns true
// also when a file or folder of that name exists.
bool makeFolder(const std::string& folder);

// Syncs the entries of `folder` to disk: files that were created, renamed or removed in it.
bool syncFolder(const std::string& folder);

// Writes all bytes to an open descriptor.
bool writeWhole(int descriptor, std::string_view bytes);

// Replaces the file `path`, or makes it: writes the bytes to the new file `newPath` in the same
// folder, syncs that file to disk and renames it, so that every reader finds one of both whole.
// Nobody else may write to `newPath`; a file that a killed process left there is removed. The new
// file's mode is `mode`; without it that of the file before, or 0666 without the bits of the umask.
// Returns the new file, open. On failure the result is empty, and of the new file nothing is left.
// The folder's entry is not synced; see syncFolder().
FileDescriptor replaceFile(const std::string& path, const std::string& newPath,
                           std::string_view bytes, std::optional<mode_t> mode);

// Takes an exclusive flock() on the file, which is created when missing and never removed. On
// failure, also after `limit`, the descriptor is empty and errno holds the reason. Closing the
// descriptor, or the end of the process, releases the lock.
FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds limit);

// Reads all bytes of an open file. nullopt when it is not a regular file, cannot be read or is
// larger than `limit` bytes.
std::optional<std::string> readWhole(const FileDescriptor& file, std::size_t limit);

// Watches (with inotify) for a socket to appear, and for folders of its path that do not exist yet.
// One thread.
class SocketWatch {
 public:
  explicit SocketWatch(std::string path);

  // Reads as ready when an event has arrived; -1 when the system has no inotify instances left.
  int descriptor() const { return inotify_.get(); }

  // Watches the deepest folder of the path that exists. A socket that exists when this returns may
  // cause no event, so the caller tries to connect after it. A socket that appears refuses
  // connections until its server listens, which causes no event; but session buses and systemd
  // change the socket's attributes after that, which causes another one.
  void arm();

  // Reads the pending events. Returns true when one concerns the path; the caller then arms again.
  bool takeEvents();

 private:
  void watchDeepestFolder();

  std::string path_;
  FileDescriptor inotify_;
  int watch_ = -1;
  std::string awaited_;  // the path to appear in the watched folder: path_ or a folder of it
};
