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

// ASCII only: bytes above 127, which need not be UTF-8 where they come from, are shown as the code
// points of the same numbers.
std::string jsonText(std::string_view text);

}  // namespace driver
