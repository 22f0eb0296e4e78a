// SPDX-License-Identifier: MIT
// What people write on a command line: the values of protocol/options.h as words, and numbers.
#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace driver {

// Each word stands at the value that it means.
inline constexpr std::array<std::string_view, 3> kClockSourceWords = {"automatic", "internal",
                                                                      "digital"};
inline constexpr std::array<std::string_view, 4> kLockStateWords = {"none", "invalid", "valid",
                                                                    "muted"};
inline constexpr std::array<std::string_view, 2> kSpeedWords = {"1.1", "2.0"};

// A decimal number, or a hexadecimal one after "0x", of at most `largest`; nothing else in the
// text.
inline std::optional<std::uint32_t> parseNumber(std::string_view text, std::uint32_t largest) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end || value > largest) return std::nullopt;
  return value;
}

}  // namespace driver
