// SPDX-License-Identifier: MIT
// The state of a simulated interface as names and values, for tests and for people.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "driver/virtual_interface/model.h"

namespace driver {

// Names with values as JSON texts, in the order to show them in.
using State = std::vector<std::pair<std::string, std::string>>;

State stateOf(const Model& model);

}  // namespace driver
