// SPDX-License-Identifier: MIT
// A process that a test starts. It never outlives the test.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/posix.h"

namespace test_support {

// How long a test waits for an event before it fails; long enough for a busy machine.
inline constexpr std::chrono::seconds kPatience{20};

// Waits until the descriptor is readable or its other end has been closed; false after `limit`.
bool waitReadable(int descriptor, std::chrono::milliseconds limit);

class ChildProcess {
 public:
  enum class Output {
    kept,   // read with readLine() and readOutput()
    shared  // to this process's standard output and error
  };

  // Starts the program arguments[0], looked up in PATH, with `arguments`. Each entry of
  // `environment` sets a variable on top of this process's environment ("NAME=value") or unsets it
  // ("NAME"). The system kills the child when the thread that started it ends.
  explicit ChildProcess(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment = {},
                        Output output = Output::kept);

  // Runs `body` in a fork of this process, where no other thread exists.
  explicit ChildProcess(const std::function<void()>& body);

  // Kills the process if it is still running, and waits for its end.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // -1 when the process could not be started.
  pid_t pid() const { return pid_; }

  // Sends a signal; does nothing after wait() has returned a status.
  void signal(int number);

  // Waits for the end of the process, at most `limit`. Returns its exit status as a shell does: 128
  // + the number of the signal that killed it, 127 when the program was not found. nullopt when it
  // is still running.
  std::optional<int> wait(std::chrono::milliseconds limit = kPatience);

  // The next line that the process prints, without the line end; empty after kPatience.
  std::string readLine();
  // Everything that the process still prints until it ends.
  std::string readOutput() { return readAll(output_.get()); }
  std::string readErrors() { return readAll(errors_.get()); }

 private:
  void start(Output output, const std::function<void()>& body);
  static std::string readAll(int descriptor);

  pid_t pid_ = -1;
  FileDescriptor ended_;  // readable when the process has ended
  FileDescriptor output_;
  FileDescriptor errors_;
  std::optional<int> status_;
};

}  // namespace test_support
