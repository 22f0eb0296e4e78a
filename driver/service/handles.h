// SPDX-License-Identifier: MIT
// Owners of sd-event handles, beside those of the session bus.
#pragma once

#include <systemd/sd-event.h>

#include <memory>

#include "platform/posix/posix.h"
#include "platform/session_bus/session_bus.h"

namespace driver {

using session_bus::Bus;
using session_bus::BusMessage;
using session_bus::BusSlot;

struct EventRelease {
  void operator()(sd_event* event) const { sd_event_unref(event); }
  void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};
using Event = std::unique_ptr<sd_event, EventRelease>;
// Destroying it stops the callback and is allowed inside it.
using EventSource = std::unique_ptr<sd_event_source, EventRelease>;

}  // namespace driver
