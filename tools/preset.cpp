// SPDX-License-Identifier: MIT
#include "tools/preset.h"

#include <nlohmann/json.hpp>

#include "protocol/services.h"
#include "protocol/words.h"
#include "tools/choices.h"
#include "tools/commands.h"

namespace vx310ctl {

namespace {

using Json = nlohmann::ordered_json;

const Choice* choiceOfMember(const std::string& name) {
  for (const Choice& choice : choices()) {
    if (memberOf(choice.name) == name) return &choice;
  }
  return nullptr;
}

bool hasNumber(const Json& preset, const char* name, std::uint32_t number) {
  return preset.contains(name) && preset[name] == number;
}

std::string numberOf(const Json& preset, const char* name) {
  return preset.contains(name) ? preset[name].dump() : "none";
}

// What is wrong with the parts that say what the file is; empty when nothing is.
std::string problemOfHead(const Json& preset) {
  if (!preset.is_object()) return "is no preset: it is cut or no JSON";
  if (!preset.contains(member::kSchema) || !preset.contains(member::kSettings)) {
    return "is no preset: it has no schema or no settings";
  }
  if (preset[member::kSchema] != kJsonSchema) {
    return "is a preset of schema " + numberOf(preset, member::kSchema) + "; this program knows " +
           std::to_string(kJsonSchema);
  }
  if (!hasNumber(preset, member::kVendorId, kVX310VendorId) ||
      !hasNumber(preset, member::kProductId, kVX310ProductId)) {
    return "is a preset of another device (vendor_id " + numberOf(preset, member::kVendorId) +
           ", product_id " + numberOf(preset, member::kProductId) + ")";
  }
  const Json& settings = preset[member::kSettings];
  return settings.is_object() && !settings.empty() ? "" : "has no settings";
}

// Adds one setting of the file. Returns what is wrong with it; empty when nothing is.
std::string addItem(Items& items, const std::string& name, const Json& value) {
  const Choice* choice = choiceOfMember(name);
  if (!choice) return "has an unknown setting '" + name + "'";
  for (std::size_t i = 0; i < choice->items.size(); ++i) {
    if (value != choice->words[i]) continue;
    items[choice] = static_cast<std::int32_t>(i);
    return {};
  }
  return "sets " + name + " to " + value.dump(-1, ' ', false, Json::error_handler_t::replace) +
         ", which it cannot be";
}

}  // namespace

std::string presetText(const Items& items) {
  Json settings = Json::object();
  for (const Choice& choice : choices()) {
    const auto item = items.find(&choice);
    if (item != items.end()) {
      settings[memberOf(choice.name)] = valueJson(choice.words, item->second);
    }
  }
  return jsonText({{member::kVendorId, kVX310VendorId},
                   {member::kProductId, kVX310ProductId},
                   {member::kSettings, settings}},
                  2);
}

std::optional<Items> parsePreset(const std::string& text, std::string* problem) {
  const Json preset = Json::parse(text, nullptr, false);
  *problem = problemOfHead(preset);
  if (!problem->empty()) return std::nullopt;
  Items items;
  for (const auto& [setting, value] : preset[member::kSettings].items()) {
    *problem = addItem(items, setting, value);
    if (!problem->empty()) return std::nullopt;
  }
  return items;
}

}  // namespace vx310ctl
