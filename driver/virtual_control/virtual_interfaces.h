// SPDX-License-Identifier: MIT
// The driver's virtual interfaces and their control over the bus: the object kVirtualInterfacesPath
// with the one method Run, which takes the words of `vx310ctl sim`. The object stands outside the
// tree of the published services, so that their clients never see it.
#pragma once

#include <deque>

#include "driver/virtual_control/pluggable_interface.h"
#include "driver/virtual_control/virtual_commands.h"

namespace driver {

class VirtualInterfaces {
 public:
  // Far more than anybody plugs in by hand.
  static constexpr std::size_t kMaximumInterfaces = 1024;

  explicit VirtualInterfaces(ServiceContext& context) : context_(context) {}
  VirtualInterfaces(const VirtualInterfaces&) = delete;
  VirtualInterfaces& operator=(const VirtualInterfaces&) = delete;

  // Takes calls on the context's bus from now on. Negative errno on failure.
  int start();

  // Makes another interface, not plugged in. References stay valid.
  PluggableInterface& add();

 private:
  static const sd_bus_vtable kVtable[];
  static int onRun(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;

  void run(std::uint32_t index, const Words& words, const VirtualCall& call);
  static void helpOf(std::string_view name, const VirtualCall& call);

  // The commands that concern more than one interface. `option` says whether the command's one
  // option was given.
  struct Command;
  static const Command kCommands[];
  void plug(std::uint32_t index, bool option, const VirtualCall& call);
  void list(std::uint32_t index, bool option, const VirtualCall& call);
  void help(std::uint32_t index, bool option, const VirtualCall& call);

  ServiceContext& context_;
  BusSlot slot_;
  std::deque<PluggableInterface> interfaces_;
};

}  // namespace driver
