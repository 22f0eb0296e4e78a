// SPDX-License-Identifier: MIT
#include "driver/service/registry_properties.h"

#include <algorithm>

namespace driver {

namespace {

int appendRoutings(sd_bus_message* message, const Routings& routings) {
  return sd_bus_message_append(message, "{sv}", "AjExtData", "a{sv}", 5,  // five entries
                               "RoutingOut0", "i", routings.outputs[0], "RoutingOut1", "i",
                               routings.outputs[1], "RoutingIn0", "i", routings.inputs[0],
                               "RoutingIn1", "i", routings.inputs[1], "RoutingIn2", "i",
                               routings.inputs[2]);
}

// A data value of 8 bytes.
int appendUid(sd_bus_message* message, std::uint64_t uid) {
  std::array<std::uint8_t, 8> bytes{};
  wire::store(bytes, 0, uid);
  int result = sd_bus_message_open_container(message, 'e', "sv");
  if (result >= 0) result = sd_bus_message_append(message, "s", "OrbekUID");
  if (result >= 0) result = sd_bus_message_open_container(message, 'v', "ay");
  if (result >= 0) result = sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size());
  if (result >= 0) result = sd_bus_message_close_container(message);
  if (result >= 0) result = sd_bus_message_close_container(message);
  return result;
}

}  // namespace

int appendRegistryProperties(sd_bus_message* message, const RegistryEntry& entry) {
  int result = sd_bus_message_open_container(message, 'a', "{sv}");
  if (result >= 0) {
    result = sd_bus_message_append(message, "{sv}{sv}{sv}", "idVendor", "q", entry.vendorId,
                                   "idProduct", "q", entry.productId, "USB Product Name", "s",
                                   entry.productName.c_str());
  }
  if (result >= 0) result = appendRoutings(message, entry.routings);
  if (result >= 0 && entry.orbekUid) result = appendUid(message, *entry.orbekUid);
  return result < 0 ? result : sd_bus_message_close_container(message);
}

}  // namespace driver
