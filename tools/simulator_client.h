// SPDX-License-Identifier: MIT
// The driver's simulated interfaces, reached over the session bus.
//
// Every call waits at most kBusLimitMs; a failed one is explained on standard error and gives
// the exit status to end with.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/exit_status.h"
#include "tools/tool_bus.h"

namespace vx310ctl {

using Words = std::vector<std::string>;

class SimulatorClient {
 public:
  ExitStatus connect();

  // Adds an interface and plugs it in; *number receives its number.
  ExitStatus add(std::uint32_t* number);
  ExitStatus plug(std::uint32_t interface);
  ExitStatus unplug(std::uint32_t interface);
  ExitStatus set(std::uint32_t interface, const Words& setting);
  ExitStatus notify(std::uint32_t interface, std::uint32_t number, std::uint32_t type,
                    std::uint32_t sizeWord);
  ExitStatus addFault(std::uint32_t interface, const Words& fault);
  // 0 for no limit.
  ExitStatus stall(std::uint32_t interface, std::uint32_t milliseconds);
  ExitStatus clearFaults(std::uint32_t interface);

  struct Listed {
    bool plugged;
    std::string productName;
  };
  ExitStatus list(std::vector<Listed>* interfaces);

  // Names with values as JSON texts.
  ExitStatus state(std::uint32_t interface,
                   std::vector<std::pair<std::string, std::string>>* state);

 private:
  // Null when a message cannot even be made.
  session_bus::BusMessage callTo(const char* method);
  ExitStatus send(session_bus::BusMessage call, session_bus::BusMessage* reply = nullptr);
  ExitStatus callWithWords(const char* method, std::uint32_t interface, const Words& words);

  session_bus::Bus bus_;
};

}  // namespace vx310ctl
