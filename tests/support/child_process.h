// A program that a test runs beside itself. It never outlives the test.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

class ChildProcess {
 public:
  // Starts `arguments`, whose first is the program, looked up in PATH. `environment` holds "NAME=
  // value" entries that are set on top of this process's environment; an entry without '=' unsets
  // that variable. The child is killed when the thread that started it ends.
  explicit ChildProcess(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment = {});

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
  std::optional<int> wait(std::chrono::milliseconds limit);

 private:
  pid_t pid_;
  std::optional<int> status_;
};

}  // namespace test_support
