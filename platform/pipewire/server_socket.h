// SPDX-License-Identifier: MIT
// The PipeWire server's socket: where it is, a connection to it, and a watch that tells when it
// appears.
#pragma once

#include <string>

#include "platform/posix/posix.h"

namespace pipewire {

// Where the environment says that the server listens: PIPEWIRE_REMOTE names it, as an absolute path
// or relative to the first that is set of PIPEWIRE_RUNTIME_DIR, XDG_RUNTIME_DIR and HOME. Without
// that name it is "pipewire-0". Empty when no folder is known.
std::string serverSocketPath();

// A connected, non-blocking stream socket, or the negated errno. Never waits.
int connectToSocket(const std::string& path);

// Tells by an event when a socket may have appeared. Folders on the way that do not exist yet are
// waited for in the same manner. One thread.
class SocketWatch {
 public:
  explicit SocketWatch(std::string path);

  // Readable when something happened; -1 when the system gives no watch.
  int descriptor() const { return inotify_.get(); }

  // Watches the deepest folder of the path that exists now. A socket that is there before the
  // return causes no event: try to connect after arming.
  void arm();

  // Takes the events that are there; true when one of them concerns the path. Arm again then.
  bool takeEvents();

 private:
  void watchDeepestFolder();

  std::string path_;
  FileDescriptor inotify_;
  int watch_ = -1;
  std::string awaited_;  // what is to appear in the watched folder: path_ or a folder above it
};

}  // namespace pipewire
