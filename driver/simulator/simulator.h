// SPDX-License-Identifier: MIT
// The driver's simulated interfaces and their control over the bus: the object kSimulatorPath with
// the interface kSimulatorInterface. It stands outside the tree of the published services, so that
// their clients never see it.
#pragma once

#include <deque>

#include "driver/simulator/simulated_interface.h"

namespace driver {

class Simulator {
 public:
  // More than that can neither be plugged in by hand nor kept apart on a screen.
  static constexpr std::size_t kMaximumInterfaces = 1024;

  explicit Simulator(ServiceContext& context) : context_(context) {}
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  // Takes calls on the context's bus from now on. Negative errno on failure.
  int start();

  // Makes another interface, not plugged in. References stay valid.
  SimulatedInterface& add();

 private:
  using Call = int (Simulator::*)(sd_bus_message*, sd_bus_error*);
  using InterfaceCall = int (*)(SimulatedInterface&, sd_bus_message*, sd_bus_error*);

  // The vtable's entry of a method that a member carries out.
  template <Call call>
  static constexpr sd_bus_vtable method(const char* name, const char* arguments,
                                        const char* results);
  // Carries out a method whose first argument is an interface's number.
  template <InterfaceCall call>
  int toInterface(sd_bus_message* message, sd_bus_error* error);
  static const sd_bus_vtable kVtable[];

  int onAdd(sd_bus_message* message, sd_bus_error* error);
  int onPlug(sd_bus_message* message, sd_bus_error* error);
  int onList(sd_bus_message* message, sd_bus_error* error);

  // Plugs and answers the call once that is done.
  int plugAndReply(sd_bus_message* message, SimulatedInterface& interface, std::size_t index);

  ServiceContext& context_;
  BusSlot slot_;
  std::deque<SimulatedInterface> interfaces_;
};

}  // namespace driver
