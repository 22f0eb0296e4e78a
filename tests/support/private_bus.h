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

  // Where its files are; removed with the bus.
  std::string folder() const { return folder_.path(); }

  // From now on the bus starts `command` when somebody asks for the name.
  void makeActivatable(const std::string& name, const std::string& command);

  // From now on the bus takes nothing in and answers nothing.
  void hang() { daemon_->signal(SIGSTOP); }

  // The bus goes away, with everybody's connection.
  void stop() { daemon_.reset(); }

 private:
  TemporaryDirectory folder_;
  std::string address_;
  std::unique_ptr<ChildProcess> daemon_;
};

}  // namespace test_support
