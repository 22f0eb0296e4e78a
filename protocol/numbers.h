// SPDX-License-Identifier: MIT
// Numbers in the words that people write for the driver and the tool.
#pragma once

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

// Parses a decimal or, after "0x", hexadecimal number. nullopt when the text has anything else in
// it or the number is above `largest`.
inline std::optional<std::uint32_t> parseNumber(
    std::string_view text, std::uint32_t largest = std::numeric_limits<std::uint32_t>::max()) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end || value > largest) return std::nullopt;
  return value;
}
