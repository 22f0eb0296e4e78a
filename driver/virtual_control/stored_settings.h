// SPDX-License-Identifier: MIT
// What the driver's settings say about an interface that is made.
#pragma once

#include "driver/virtual_interface/model.h"

namespace driver {

// Sets the options that the settings store holds; one that is missing there is 0. Writes the
// store's version marker where it has none.
void applyStoredSettings(Model& model);

}  // namespace driver
