// SPDX-License-Identifier: MIT
// A preset: settings in a small file of JSON, with the names and words of
// docs/vx310ctl.schema.json.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace vx310ctl {

struct Choice;

// Items of some settings, or of all.
using Items = std::map<const Choice*, std::int32_t>;

// The file's text.
std::string presetText(const Items& items);

// Parses the file's text. nullopt when it is no preset of this schema and of this interface, or
// when one setting in it cannot be set; *problem then says so, as what the file is or does.
std::optional<Items> parsePreset(const std::string& text, std::string* problem);

}  // namespace vx310ctl
