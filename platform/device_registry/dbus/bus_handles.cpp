// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/bus_handles.h"

#include <poll.h>

#include <vector>

namespace device_registry {

Bus openSessionBus() {
  sd_bus* bus = nullptr;
  return sd_bus_open_user(&bus) < 0 ? nullptr : Bus(bus);
}

void waitForBuses(std::span<sd_bus* const> buses, const Deadline& deadline) {
  std::vector<pollfd> watched;
  for (sd_bus* bus : buses) {
    const int descriptor = sd_bus_get_fd(bus);
    const int events = sd_bus_get_events(bus);
    if (descriptor < 0 || events < 0) return;  // broken: processing it tells
    watched.push_back({descriptor, static_cast<short>(events), 0});
  }
  // Whether it is ready, late or interrupted by a signal, the caller looks again.
  poll(watched.data(), watched.size(), deadline.milliseconds());
}

}  // namespace device_registry
