// SPDX-License-Identifier: MIT
#include "driver/service/registry_properties.h"

#include <array>

#include "protocol/services.h"
#include "protocol/wire.h"

namespace driver {

namespace {

int appendRoutings(sd_bus_message* message, const Routings& routings) {
  return sd_bus_message_append(message, "{sv}", kRoutingsKey, "a{sv}", 5,  // five entries
                               routingKey(false, 0).c_str(), "i", routings.outputs[0],  //
                               routingKey(false, 1).c_str(), "i", routings.outputs[1],  //
                               routingKey(true, 0).c_str(), "i", routings.inputs[0],    //
                               routingKey(true, 1).c_str(), "i", routings.inputs[1],    //
                               routingKey(true, 2).c_str(), "i", routings.inputs[2]);
}

// A data value of 8 bytes.
int appendUid(sd_bus_message* message, std::uint64_t uid) {
  std::array<std::uint8_t, 8> bytes{};
  wire::store(bytes, 0, uid);
  int result = sd_bus_message_open_container(message, 'e', "sv");
  if (result >= 0) result = sd_bus_message_append(message, "s", kOrbekUidKey);
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
    result = sd_bus_message_append(message, "{sv}{sv}{sv}", kVendorIdKey, "q", entry.vendorId,
                                   kProductIdKey, "q", entry.productId, kProductNameKey, "s",
                                   entry.productName.c_str());
  }
  if (result >= 0) result = appendRoutings(message, entry.routings);
  if (result >= 0 && entry.orbekUid) result = appendUid(message, *entry.orbekUid);
  return result < 0 ? result : sd_bus_message_close_container(message);
}

}  // namespace driver
