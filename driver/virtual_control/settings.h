// SPDX-License-Identifier: MIT
// What can be set on a virtual interface from outside, by name: its cables, its identity, its
// versions, and the settings that other programs could change.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "driver/virtual_interface/model.h"

namespace driver {

enum class SettingResult {
  done,
  wrongArguments,  // nothing changed: no such setting, or not its arguments
  refused          // nothing changed: the interface cannot take it in its present state
};

struct SettingUsage {
  std::string_view name;
  std::string_view arguments;  // as the help of `vx310ctl sim` shows them
};
std::span<const SettingUsage> settingUsages();

// words[0] is the setting's name. On failure *problem says what is wrong.
SettingResult applySetting(Model& model, const std::vector<std::string>& words,
                           std::string* problem);

}  // namespace driver
