// SPDX-License-Identifier: MIT
// The state of a virtual interface as names and values, for tests and for people.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "driver/virtual_interface/model.h"

namespace driver {

// An object whose members stand in the order to show them in.
nlohmann::ordered_json stateOf(const Model& model);

// For programs: one line of JSON. Bytes that are no UTF-8 become U+FFFD.
std::string jsonOf(const nlohmann::ordered_json& state);

// For people: a line for each member, texts without quotes. Control characters stay escaped: what
// is shown must not move the cursor.
std::string linesOf(const nlohmann::ordered_json& state);

}  // namespace driver
