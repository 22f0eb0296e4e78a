// SPDX-License-Identifier: MIT
// The settings that the panel offers as menus, for the command line: their names, their items and
// the functions of the panel that ask for them and set them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vx310ctl {

struct Choice {
  std::string_view name;                    // on the command line
  std::span<const std::string_view> items;  // the menu's, in its order
  // Both act on the panel's current device. The query returns an index into the items, another
  // number if the interface reports an unknown value, or kNoAnswer. The command returns false when
  // it knows that nothing was set.
  std::int32_t (*query)();
  bool (*command)(std::int32_t index);
  bool isStored = false;  // the command also stores it, in the driver's settings
};
inline constexpr std::int32_t kNoAnswer = -1;

// All of them, in the order of the panel's menus.
std::span<const Choice> choices();

// Null for an unknown name.
const Choice* findChoice(std::string_view name);

// The item's text; the number itself where there is no such item, "unknown" for kNoAnswer.
std::string itemText(std::span<const std::string_view> items, std::int32_t index);

}  // namespace vx310ctl
