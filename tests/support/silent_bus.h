// SPDX-License-Identifier: MIT
// A hung session bus: it accepts connections and never answers.
#pragma once

#include <string>

#include "platform/posix/posix.h"
#include "tests/support/temporary_directory.h"

namespace test_support {

class SilentBus {
 public:
  // Aborts the test program when no socket can be made.
  SilentBus();

  // The environment entry that makes it the session bus of a child process.
  std::string variable() const { return "DBUS_SESSION_BUS_ADDRESS=unix:path=" + path_; }
  // Makes it the session bus of this process.
  void enter() const;

 private:
  TemporaryDirectory folder_;
  std::string path_;
  FileDescriptor listener_;
};

}  // namespace test_support
