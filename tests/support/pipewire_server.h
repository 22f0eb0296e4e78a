// SPDX-License-Identifier: MIT
// A private PipeWire server without session manager, hardware or D-Bus.
#pragma once

#include <memory>

#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace test_support {

// Makes a folder for the server and sets this process's PipeWire environment variables to it: every
// later connection of the process reaches this server, or none while it is stopped. The server's
// own clock drives connected nodes, so audio flows without hardware.
class PipeWireServer {
 public:
  PipeWireServer();
  ~PipeWireServer();

  // Starts the server and waits until it accepts connections; false after 10 s.
  bool start();

  // stop() ends the server in order; kill() leaves its socket behind. Both wait for its end.
  void stop();
  void kill();

  // Suspend and resume the server; while suspended it accepts connections and answers nothing.
  void suspend();
  void resume();

  // The folder of the server's socket "pipewire-0".
  const std::filesystem::path& folder() const { return folder_.path(); }

 private:
  bool waitForSocket() const;

  TemporaryDirectory folder_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace test_support
