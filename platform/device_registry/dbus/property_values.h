// SPDX-License-Identifier: MIT
// Bus values as property values.
#pragma once

#include <systemd/sd-bus.h>

#include <optional>

#include "platform/values/values.h"

namespace device_registry {

// Reads the dictionary of texts to variants ("a{sv}") that comes next in `message` and moves behind
// it. Integers of every width become numbers, paths and signatures texts, byte arrays data,
// dictionaries with text keys dictionaries and arrays arrays. An entry that holds anything else is
// left out. Nothing when the message holds no such dictionary or is damaged.
std::optional<CFDictionary> readDictionary(sd_bus_message* message);

}  // namespace device_registry
