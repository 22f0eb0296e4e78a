// SPDX-License-Identifier: MIT
// All that can be read from one interface.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

class USBDevice;

namespace vx310ctl {

// Both read an open interface. For people: a line for each value, with the panel's texts;
// unanswered requests show what the panel would show.
std::string reportText(USBDevice& device);

// For programs: an object with a member for each value, null for an unanswered request.
nlohmann::ordered_json reportJson(USBDevice& device);

}  // namespace vx310ctl
