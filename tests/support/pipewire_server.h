// SPDX-License-Identifier: MIT
// A private PipeWire server without session manager, hardware or D-Bus.
#pragma once

#include <memory>

#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace test_support {

// Makes a folder for the server and points PipeWire's environment variables of this process to it:
// everything in the process that connects afterwards finds this server, or none while it is
// stopped. A clock of its own drives connected nodes, so audio flows without hardware.
class PipeWireServer {
 public:
  PipeWireServer();
  ~PipeWireServer();

  // Starts the server and waits until it accepts connections. False when it did not in 10 s.
  bool start();

  // Asks it to end and waits for it; kill() ends it without its doing, leaving its socket behind.
  void stop();
  void kill();

  // Suspends and resumes it; while suspended it accepts connections and answers nothing.
  void suspend();
  void resume();

  // The folder in which its socket "pipewire-0" appears.
  const std::filesystem::path& folder() const { return folder_.path(); }

 private:
  bool waitForSocket() const;

  TemporaryDirectory folder_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace test_support
