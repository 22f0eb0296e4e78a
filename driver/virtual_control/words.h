// SPDX-License-Identifier: MIT
// The values of protocol/options.h as words on a command line. Each word stands at the value that
// it means.
#pragma once

#include <array>
#include <string_view>

namespace driver {

inline constexpr std::array<std::string_view, 3> kClockSourceWords = {"automatic", "internal",
                                                                      "digital"};
inline constexpr std::array<std::string_view, 4> kLockStateWords = {"none", "invalid", "valid",
                                                                    "muted"};
inline constexpr std::array<std::string_view, 2> kSpeedWords = {"1.1", "2.0"};

}  // namespace driver
