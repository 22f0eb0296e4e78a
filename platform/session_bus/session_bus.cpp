// SPDX-License-Identifier: MIT
#include "platform/session_bus/session_bus.h"

#include <poll.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>
#include <vector>

namespace session_bus {

int startSessionBus(Bus* bus) {
  sd_bus* started = nullptr;
  const int result = sd_bus_open_user(&started);
  bus->reset(started);
  return result;
}

int openSessionBus(int limitMs, Bus* bus) {
  const Deadline deadline(limitMs);
  Bus opened;
  int result = startSessionBus(&opened);
  // A blocking call on a bus that is not ready would wait without limit until it is: wait here.
  while (result >= 0 && (result = sd_bus_is_ready(opened.get())) == 0) {
    if (deadline.hasPassed()) return -ETIMEDOUT;
    result = sd_bus_process(opened.get(), nullptr);
    if (result == 0) waitForBuses(std::array{opened.get()}, deadline);
  }
  const auto callLimit = static_cast<std::uint64_t>(limitMs) * 1000;
  if (result >= 0) result = sd_bus_set_method_call_timeout(opened.get(), callLimit);
  if (result < 0) return result;
  *bus = std::move(opened);
  return 0;
}

void waitForBuses(std::span<sd_bus* const> buses, const Deadline& deadline) {
  std::vector<pollfd> watched;
  for (sd_bus* bus : buses) {
    const int descriptor = sd_bus_get_fd(bus);
    const int events = sd_bus_get_events(bus);
    if (descriptor < 0 || events < 0) return;  // lost: sd_bus_process() reports it
    watched.push_back({descriptor, static_cast<short>(events), 0});
  }
  // The result does not matter: the caller processes the buses and checks the deadline.
  poll(watched.data(), watched.size(), deadline.milliseconds());
}

}  // namespace session_bus
