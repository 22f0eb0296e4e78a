// SPDX-License-Identifier: MIT
// Owners of what the bus library hands out.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <span>

#include "platform/device_registry/dbus/deadline.h"

namespace device_registry {

struct BusRelease {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Bus = std::unique_ptr<sd_bus, BusRelease>;
using BusMessage = std::unique_ptr<sd_bus_message, BusRelease>;
// A pending call or a match; releasing it ends it, and its handler is not called any more.
using BusSlot = std::unique_ptr<sd_bus_slot, BusRelease>;

// A connection to the session bus, still being set up; null on failure.
Bus openSessionBus();

// Waits until one of `buses` has something to process or the deadline passes.
void waitForBuses(std::span<sd_bus* const> buses, const Deadline& deadline);

}  // namespace device_registry
