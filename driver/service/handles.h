// SPDX-License-Identifier: MIT
// Owners for what sd-bus, sd-event and the kernel hand out.
#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <memory>

#include "platform/posix/posix.h"

namespace driver {

using ::FileDescriptor;

template <auto release>
struct Releaser {
  template <typename T>
  void operator()(T* handle) const {
    release(handle);
  }
};

// What the bus has not taken by then is dropped: a bus that hangs must not keep the process.
using Bus = std::unique_ptr<sd_bus, Releaser<sd_bus_close_unref>>;
using BusSlot = std::unique_ptr<sd_bus_slot, Releaser<sd_bus_slot_unref>>;
using BusMessage = std::unique_ptr<sd_bus_message, Releaser<sd_bus_message_unref>>;
using Event = std::unique_ptr<sd_event, Releaser<sd_event_unref>>;
// Its callback is not called any more once it is gone; it may go from inside that callback.
using EventSource = std::unique_ptr<sd_event_source, Releaser<sd_event_source_disable_unref>>;

}  // namespace driver
