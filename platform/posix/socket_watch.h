// SPDX-License-Identifier: MIT
// Waits, without a timer, for the socket of a server that is not running.
#pragma once

#include <string>

#include "platform/posix/posix.h"

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
