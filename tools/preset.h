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

// Parses the text of the file `name`. nullopt, with an explanation on standard error, when it is no
// preset of this schema and of this interface, or when one setting in it cannot be set.
std::optional<Items> parsePreset(const std::string& name, const std::string& text);

// Reads a file whole, or standard input for "-"; nullopt, with an explanation on standard error,
// when it cannot be read, is too large for a preset or has no end within a minute.
std::optional<std::string> readFile(const std::string& name);

// Replaces a file, or writes to what is no regular file; "-" is standard output. False with an
// explanation on standard error; a file that could not be written is as it was.
bool writeFile(const std::string& name, const std::string& text);

}  // namespace vx310ctl
