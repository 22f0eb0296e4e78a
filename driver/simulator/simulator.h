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
  template <Call call>
  static int method(sd_bus_message* message, void* self, sd_bus_error* error) {
    return (static_cast<Simulator*>(self)->*call)(message, error);
  }
  static const sd_bus_vtable kVtable[];

  int onAdd(sd_bus_message* message, sd_bus_error* error);
  int onPlug(sd_bus_message* message, sd_bus_error* error);
  int onUnplug(sd_bus_message* message, sd_bus_error* error);
  int onSet(sd_bus_message* message, sd_bus_error* error);
  int onNotify(sd_bus_message* message, sd_bus_error* error);
  int onFault(sd_bus_message* message, sd_bus_error* error);
  int onStall(sd_bus_message* message, sd_bus_error* error);
  int onClearFaults(sd_bus_message* message, sd_bus_error* error);
  int onList(sd_bus_message* message, sd_bus_error* error);
  int onGetState(sd_bus_message* message, sd_bus_error* error);

  // Reads an interface's number from the message; null, with *result to return, for a wrong one.
  SimulatedInterface* interfaceIn(sd_bus_message* message, sd_bus_error* error, int* result);
  // Plugs and answers the call once that is done.
  int plugAndReply(sd_bus_message* message, SimulatedInterface& interface, std::size_t index);

  ServiceContext& context_;
  BusSlot slot_;
  std::deque<SimulatedInterface> interfaces_;
};

}  // namespace driver
