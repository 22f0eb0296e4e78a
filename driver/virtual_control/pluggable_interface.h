// SPDX-License-Identifier: MIT
// One virtual interface with its port and its faults.
#pragma once

#include "driver/service/usb_port.h"
#include "driver/virtual_control/faulty_request_handler.h"
#include "driver/virtual_control/settings.h"
#include "driver/virtual_interface/virtual_interface.h"

namespace driver {

class PluggableInterface {
 public:
  // As VirtualInterface: the first interface's number is 1.
  PluggableInterface(ServiceContext& context, std::size_t number);

  UsbPort& usbPort() { return usbPort_; }

  // As applySetting(). On success calls `done`, after the interface has reconnected if its class,
  // ids or speed changed.
  SettingResult set(const std::vector<std::string>& words, std::string* problem,
                    std::function<void()> done);

  const std::string& productName() const { return interface_.model().identity.productName; }

  void addFault(const Fault& fault) { faults_.add(fault); }

  // Stops answering requests until `limit`, clearFaults() or an unplug.
  void stall(std::optional<std::chrono::milliseconds> limit);

  // Ends all faults and the stall.
  void clearFaults();

  nlohmann::ordered_json state();

 private:
  void endStall();

  VirtualInterface interface_;
  InterfaceRequestHandler handler_;
  FaultyRequestHandler faults_;
  UsbPort usbPort_;
  Timer stallEnd_;
};

}  // namespace driver
