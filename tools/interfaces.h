// SPDX-License-Identifier: MIT
// The connected interfaces, found by the same discovery as the panel's.
#pragma once

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

}  // namespace vx310ctl
