// SPDX-License-Identifier: MIT
// The driver's virtual interfaces and their control over the bus: the object kVirtualInterfacesPath
// with the one method Run, which takes the words of `vx310ctl sim`. The object stands outside the
// tree of the published services, so that their clients never see it.
#pragma once

#include <deque>

#include "driver/interface_source.h"
#include "driver/virtual_control/pluggable_interface.h"
#include "driver/virtual_control/virtual_commands.h"

namespace driver {

class VirtualInterfaces final : public InterfaceSource {
 public:
  VirtualInterfaces() = default;
  VirtualInterfaces(const VirtualInterfaces&) = delete;
  VirtualInterfaces& operator=(const VirtualInterfaces&) = delete;

  void declareOptions(CLI::App& program) override;
  int start(ServiceContext& context, std::function<void()> ready) override;

 private:
  // Makes another interface, not plugged in. References stay valid.
  PluggableInterface& add();

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

  unsigned atStart_ = 1;  // interfaces to plug in at the start
  ServiceContext* context_ = nullptr;
  BusSlot slot_;
  std::deque<PluggableInterface> interfaces_;
};

}  // namespace driver
