// SPDX-License-Identifier: MIT
// A session bus for one test: its own dbus-daemon with its own address, policy and service files in
// a temporary folder, so that nothing of the machine's session is touched or started.
#pragma once

#include <csignal>
#include <memory>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace test_support {

class PrivateBus {
 public:
  // Starts the daemon and makes it this process's session bus. Aborts the test program when it
  // cannot be started.
  PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return address_; }

  // The folder of the bus's files; removed with the bus.
  std::string folder() const { return folder_.path(); }

  // Makes the bus start `command` when a client calls StartServiceByName or sends to `name`.
  void makeActivatable(const std::string& name, const std::string& command);

  // Suspends the bus: it receives and answers nothing.
  void hang() { daemon_->signal(SIGSTOP); }

  // Ends the bus, which closes all connections to it.
  void stop() { daemon_.reset(); }

  // Starts it again at the same address. Returns once it listens.
  void start();

 private:
  TemporaryDirectory folder_;
  std::string address_;
  std::unique_ptr<ChildProcess> daemon_;
};

}  // namespace test_support
