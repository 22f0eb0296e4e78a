// SPDX-License-Identifier: MIT
#include "platform/session_bus/session_bus.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace session_bus {

namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// Values in bus addresses have bytes written as "%2f".
std::string unescaped(std::string_view value) {
  std::string text;
  while (!value.empty()) {
    unsigned char byte = 0;
    const bool escaped =
        value.size() >= 3 && value[0] == '%' &&
        std::from_chars(value.data() + 1, value.data() + 3, byte, 16).ptr == value.data() + 3;
    text += escaped ? static_cast<char>(byte) : value[0];
    value.remove_prefix(escaped ? 3 : 1);
  }
  return text;
}

}  // namespace

std::string sessionBusSocketPath() {
  const std::string addresses = environment("DBUS_SESSION_BUS_ADDRESS");
  if (addresses.empty()) {
    const std::string folder = environment("XDG_RUNTIME_DIR");
    return folder.empty() ? "" : folder + "/bus";
  }
  // "unix:path=/run/user/1000/bus,guid=...;tcp:..."
  constexpr std::string_view kPath = "unix:path=";
  std::string_view rest = addresses;
  while (!rest.empty()) {
    const std::string_view address = rest.substr(0, rest.find(';'));
    rest.remove_prefix(std::min(address.size() + 1, rest.size()));
    if (!address.starts_with(kPath)) continue;
    const std::string_view values = address.substr(kPath.size());
    return unescaped(values.substr(0, values.find(',')));
  }
  return "";
}

std::string reasonOf(int result) {
  // What sd-bus returns when it has no address.
  if (result == -ENOMEDIUM) return "neither DBUS_SESSION_BUS_ADDRESS nor XDG_RUNTIME_DIR is set";
  return std::strerror(-result);
}

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
