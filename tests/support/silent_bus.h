// SPDX-License-Identifier: MIT
// A hung session bus: it accepts connections and never says a word.
#pragma once

#include <string>

#include "platform/posix/posix.h"
#include "tests/support/temporary_directory.h"

namespace test_support {

class SilentBus {
 public:
  // Aborts the test program when there is no socket to be had.
  SilentBus();

  // The entry of an environment in which it is the session bus.
  std::string variable() const { return "DBUS_SESSION_BUS_ADDRESS=unix:path=" + path_; }
  // Makes it this process's session bus.
  void enter() const;

 private:
  TemporaryDirectory folder_;
  std::string path_;
  FileDescriptor listener_;
};

}  // namespace test_support
