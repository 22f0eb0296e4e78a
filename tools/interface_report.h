// SPDX-License-Identifier: MIT
// All that can be read from one interface, as names and values.
#pragma once

#include <string>
#include <vector>

class USBDevice;

namespace vx310ctl {

struct ReportLine {
  std::string key;   // for programs; stays the same from version to version
  std::string name;  // for people
  std::string text;
  std::string json;  // the value as a JSON text
};
using Report = std::vector<ReportLine>;

// Reads an open interface. What it does not answer is shown as the panel shows it. Texts are the
// panel's.
Report reportOf(USBDevice& device);

}  // namespace vx310ctl
