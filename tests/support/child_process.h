// SPDX-License-Identifier: MIT
// A program that a test runs beside itself. It never outlives the test.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/posix.h"

namespace test_support {

// Long enough for anything that is going to happen at all, on a busy machine too.
inline constexpr std::chrono::seconds kPatience{20};

// Waits until the descriptor is readable or has been closed at the other end; false when that does
// not happen in time.
bool waitReadable(int descriptor, std::chrono::milliseconds limit);

class ChildProcess {
 public:
  enum class Output {
    kept,   // can be read here
    shared  // goes where this process's goes
  };

  // Starts `arguments`, whose first is the program, looked up in PATH. `environment` holds "NAME=
  // value" entries that are set on top of this process's environment; an entry without '=' unsets
  // that variable. The child is killed when the thread that started it ends.
  explicit ChildProcess(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment = {},
                        Output output = Output::kept);

  // The same with a function of this program, which may not rely on other threads.
  explicit ChildProcess(const std::function<void()>& body);

  // Kills it if it still runs, and waits for its end.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // -1 when it could not be started.
  pid_t pid() const { return pid_; }

  // Sends a signal. Nothing happens when it has been waited for.
  void signal(int number);

  // Waits for its end, at most `limit`. The exit status as a shell gives it: 128 + the signal's
  // number for a signal, 127 when the program was not found. Nothing when it still runs.
  std::optional<int> wait(std::chrono::milliseconds limit = kPatience);

  // One line that it prints, without its end; empty when none comes in time.
  std::string readLine();
  // All that it prints from now until it ends.
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
