// SPDX-License-Identifier: MIT
// All that can be read from one interface, as names and values.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

class USBDevice;

namespace vx310ctl {

struct ReportLine {
  std::string key;   // for programs; stays the same from version to version
  std::string name;  // for people
  std::string text;
  nlohmann::ordered_json json;
};
using Report = std::vector<ReportLine>;

// Reads an open interface. What it does not answer is shown as the panel shows it. Texts are the
// panel's.
Report reportOf(USBDevice& device);

}  // namespace vx310ctl
