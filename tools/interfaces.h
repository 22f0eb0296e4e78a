// SPDX-License-Identifier: MIT
// The connected interfaces, found by the same discovery as the panel's.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/exit_status.h"

class USBDevice;

namespace vx310ctl {

// Finds the interfaces that are there at its making and holds them, closed, as long as it lives.
// One at a time.
class Interfaces {
 public:
  Interfaces();
  ~Interfaces();
  Interfaces(const Interfaces&) = delete;
  Interfaces& operator=(const Interfaces&) = delete;

  // In the order of their discovery.
  const std::vector<USBDevice*>& all() const { return devices_; }

  // kDone; or with an explanation on standard error kNoDriver when no driver service is running,
  // and kFailed when it does not answer or the session bus cannot be reached.
  ExitStatus status() const;

 private:
  std::vector<USBDevice*> devices_;
};

// kDone when a driver service is on the bus and answers; otherwise what is missing is explained on
// standard error.
ExitStatus driverStatus();

// Keeps what the device layer prints as it works off standard output, which is for results, or off
// standard error, which is for explanations.
class Quiet {
 public:
  // STDOUT_FILENO or STDERR_FILENO.
  explicit Quiet(int descriptor);
  ~Quiet();
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

  // Writes a result to where the descriptor leads otherwise, at once. Ends the program when it
  // cannot be written.
  void print(const std::string& text);

 private:
  int descriptor_;
  int kept_;
};

}  // namespace vx310ctl
