// SPDX-License-Identifier: MIT
// The registry properties of an interface as a D-Bus dictionary.
#pragma once

#include <systemd/sd-bus.h>

#include "driver/interface.h"

namespace driver {

// Appends an a{sv}. Negative errno on failure.
int appendRegistryProperties(sd_bus_message* message, const RegistryEntry& entry);

}  // namespace driver
