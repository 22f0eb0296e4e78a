// SPDX-License-Identifier: MIT
// Values as JSON texts (RFC 8259).
#pragma once

#include <cstdint>
#include <ranges>
#include <string>
#include <string_view>

namespace driver {

inline std::string jsonBool(bool value) { return value ? "true" : "false"; }

inline std::string jsonNumber(std::uint64_t number) { return std::to_string(number); }

// An array of numbers.
std::string jsonArray(const std::ranges::range auto& numbers) {
  std::string json = "[";
  for (const auto number : numbers) {
    if (json.size() > 1) json += ", ";
    json += std::to_string(number);
  }
  return json + "]";
}

// UTF-8 passes as it is, except that control characters are escaped; a byte that is no part of a
// valid character becomes U+FFFD.
std::string jsonText(std::string_view text);

// A value as it is shown to people, on one line: a text without its quotes and with nothing but
// control characters escaped, anything else as it is.
std::string readableJson(std::string_view json);

}  // namespace driver
