// SPDX-License-Identifier: MIT
// The PipeWire server's socket: its path, a connection to it, and a watch for its appearance.
#pragma once

#include <string>

#include "platform/posix/posix.h"

namespace pipewire {

// The path of the server's socket: $PIPEWIRE_REMOTE, or "pipewire-0" if it is not set. A relative
// name is in the first folder that is set of PIPEWIRE_RUNTIME_DIR, XDG_RUNTIME_DIR and HOME. Empty
// when none is set.
std::string serverSocketPath();

// Returns a connected, non-blocking stream socket, or a negative errno. Never waits.
int connectToSocket(const std::string& path);

// Watches (with inotify) for a socket to appear, and for folders of its path that do not exist yet.
// One thread.
class SocketWatch {
 public:
  explicit SocketWatch(std::string path);

  // Reads as ready when an event has arrived; -1 when the system has no inotify instances left.
  int descriptor() const { return inotify_.get(); }

  // Watches the deepest folder of the path that exists. A socket that exists when this returns may
  // cause no event, so the caller tries to connect after it.
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

}  // namespace pipewire
