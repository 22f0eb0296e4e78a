// SPDX-License-Identifier: MIT
// The settings of a virtual interface as words: how they are named, set, taken from the driver's
// stored settings, and shown.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "driver/virtual_interface/model.h"

namespace driver {

// --- Setting: cables, identity, versions, and what other programs could change ---

enum class SettingResult {
  done,
  wrongArguments,  // nothing changed: no such setting, or not its arguments
  refused          // nothing changed: the interface cannot take it in its present state
};

// The section of `vx310ctl sim help`.
std::string settingsHelp();

// The help of the setting of that name; empty when there is none.
std::string settingHelp(std::string_view name);

// words[0] is the setting's name. On failure *problem says what is wrong.
SettingResult applySetting(Model& model, const std::vector<std::string>& words,
                           std::string* problem);

// Sets the options that the settings store holds; an option missing there becomes 0. Writes the
// store's version marker where it has none.
void applyStoredSettings(Model& model);

// --- Showing the state, which has more than the settings ---

// An object whose members stand in the order to show them in.
nlohmann::ordered_json stateOf(const Model& model);

// For programs: one line of JSON. Bytes that are no UTF-8 become U+FFFD.
std::string jsonOf(const nlohmann::ordered_json& state);

// For people: a line for each member, also for those of members, texts without quotes. Control
// characters are escaped so that they cannot move the cursor.
std::string linesOf(const nlohmann::ordered_json& state);

}  // namespace driver
