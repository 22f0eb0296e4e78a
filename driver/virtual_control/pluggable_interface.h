// SPDX-License-Identifier: MIT
// One virtual interface with its port and its faults.
#pragma once

#include "driver/service/port.h"
#include "driver/virtual_control/faulty_request_handler.h"
#include "driver/virtual_control/settings.h"
#include "driver/virtual_interface/virtual_interface.h"

namespace driver {

class PluggableInterface {
 public:
  PluggableInterface(ServiceContext& context, std::uint64_t uniqueId);

  Port& port() { return port_; }

  // As applySetting, and calls `done` when it is done: an interface whose class, ids or speed
  // become others reconnects first.
  SettingResult set(const std::vector<std::string>& words, std::string* problem,
                    std::function<void()> done);

  const std::string& productName() const { return interface_.model().identity.productName; }

  void addFault(const Fault& fault) { faults_.add(fault); }

  // Stops answering requests for so long; without a limit until clearFaults(). Unplugging ends it.
  void stall(std::optional<std::chrono::milliseconds> limit);

  // No faults and no stall any more.
  void clearFaults();

  nlohmann::ordered_json state();

 private:
  void endStall();

  VirtualInterface interface_;
  InterfaceRequestHandler handler_;
  FaultyRequestHandler faults_;
  Port port_;
  Timer stallEnd_;
};

}  // namespace driver
