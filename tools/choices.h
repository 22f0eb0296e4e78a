// SPDX-License-Identifier: MIT
// The settings that the panel offers as menus, for the command line: their names, their items, how
// they are read from an interface, and the functions of the panel that set them.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

class USBDevice;

namespace vx310ctl {

inline constexpr std::int32_t kNoAnswer = -1;

struct Choice {
  std::string_view name;                    // on the command line
  const char* key;                          // of the panel's stored choice
  std::span<const std::string_view> items;  // the menu's, in its order
  std::span<const std::string_view> words;  // for scripts; of each item, and of more values
  // The value in an open interface: an index into the items, another number if the interface
  // reports a value that the menu does not have, or kNoAnswer.
  std::int32_t (*read)(USBDevice& device);
  // Acts on the panel's current device. Returns false when it knows that nothing was set.
  bool (*command)(std::int32_t index);
  std::int32_t defaultItem;  // the panel's choice of a first run
  bool isStored = false;     // the command also stores it, in the driver's settings
};

// All of them, in the order of the panel's menus.
std::span<const Choice> choices();

// Null for an unknown name.
const Choice* findChoice(std::string_view name);

// The value in the panel's current device; kNoAnswer without one.
std::int32_t currentValue(const Choice& choice);

// The index of an item, from its text in any case, its word or its number; nullopt for none.
std::optional<std::int32_t> findItem(const Choice& choice, std::string_view item);

// The item's text; the word or the number itself where there is no such item, "unknown" for
// kNoAnswer.
std::string itemText(const Choice& choice, std::int32_t value);
std::string itemText(std::span<const std::string_view> items,
                     std::span<const std::string_view> words, std::int32_t value);

// For programs: the word, or the number of a value without a word; null for kNoAnswer.
nlohmann::ordered_json valueJson(std::span<const std::string_view> words, std::int32_t value);

// All of them as the interface has them, by their names in JSON.
nlohmann::ordered_json settingsJson(USBDevice& device);

}  // namespace vx310ctl
