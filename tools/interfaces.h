// SPDX-License-Identifier: MIT
// The session bus, and the connected interfaces as found by the same discovery as the panel's.
#pragma once

#include <vector>

#include "platform/session_bus/session_bus.h"
#include "tools/commands.h"

class USBDevice;

namespace vx310ctl {

// Collects the interfaces present at construction and keeps their handles, unopened. One at a time.
class Interfaces {
 public:
  Interfaces();
  ~Interfaces();
  Interfaces(const Interfaces&) = delete;
  Interfaces& operator=(const Interfaces&) = delete;

  // In the order of discovery.
  const std::vector<USBDevice*>& all() const { return devices_; }

  // kDone; or with an explanation on standard error kNoDriver when no driver service is running,
  // and kFailed when it does not answer or the session bus cannot be reached.
  ExitStatus status() const;

 private:
  std::vector<USBDevice*> devices_;
};

// How long the bus, and one call on it, may take. Plugging in waits for the audio device to appear;
// everything else is a matter of milliseconds.
inline constexpr int kBusLimitMs = 2000;

// Connects to the session bus. Failure is explained on standard error.
ExitStatus connectToBus(session_bus::Bus* bus);

// kDone when a driver service is on the bus and answers; otherwise explains on standard error what
// is missing.
ExitStatus driverStatus();

}  // namespace vx310ctl
