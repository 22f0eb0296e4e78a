// SPDX-License-Identifier: MIT
// Converts D-Bus values to property values.
#pragma once

#include <systemd/sd-bus.h>

#include <optional>

#include "platform/values/values.h"

namespace device_registry {

// Reads the next value of `message`, a dictionary of strings to variants ("a{sv}"), and advances
// past it. Booleans and integers become numbers; object paths and signatures become texts; byte
// arrays become data; dictionaries with string keys and other arrays stay what they are. An entry
// with any other value is left out. nullopt when the next value is no such dictionary or the
// message is damaged.
std::optional<CFDictionary> readDictionary(sd_bus_message* message);

}  // namespace device_registry
