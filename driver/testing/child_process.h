// A program that a test runs beside itself.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "driver/service/handles.h"

namespace driver::testing {

// Long enough for anything that is going to happen at all, on a busy machine too.
inline constexpr std::chrono::seconds kPatience{20};

// Waits until the descriptor is readable or has been closed at the other end; false when that does
// not happen in time.
bool waitReadable(int descriptor, std::chrono::milliseconds limit);

class ChildProcess {
 public:
  // Starts words[0] with the other words as its arguments and extra environment entries
  // ("NAME=value"). Its standard output and error can be read here.
  explicit ChildProcess(const std::vector<std::string>& words,
                        const std::vector<std::string>& environment = {});
  // Kills what still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t id() const { return id_; }
  void signal(int number);

  // The exit status, or minus the signal that ended it; nothing when it does not end in time.
  std::optional<int> wait(std::chrono::milliseconds limit = kPatience);

  // One line that it prints, without its end; empty when none comes in time.
  std::string readLine();
  // All that it prints from now until it ends.
  std::string readOutput() { return readAll(output_); }
  std::string readErrors() { return readAll(errors_); }

 private:
  static std::string readAll(FileDescriptor& from);

  pid_t id_ = -1;
  FileDescriptor process_;
  FileDescriptor output_;
  FileDescriptor errors_;
  std::optional<int> status_;
};

}  // namespace driver::testing
