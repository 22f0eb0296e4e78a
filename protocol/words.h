// SPDX-License-Identifier: MIT
// Values of options.h as words for scripts. A word's index is the value. What the panel shows are
// texts for people and stand in io/status_texts.h and io/menu_items.h.
#pragma once

#include <array>
#include <string_view>

inline constexpr std::array<std::string_view, 3> kClockSourceWords = {"automatic", "internal",
                                                                      "digital"};
inline constexpr std::array<std::string_view, 4> kLockStateWords = {"none", "invalid", "valid",
                                                                    "muted"};
inline constexpr std::array<std::string_view, 2> kSpeedWords = {"1.1", "2.0"};
