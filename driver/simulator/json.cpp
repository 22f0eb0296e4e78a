#include "driver/simulator/json.h"

#include <array>
#include <cstdio>

namespace driver {

std::string jsonText(std::string_view text) {
  std::string json = "\"";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte >= 0x7F) {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", byte);
      json += escape.data();
      continue;
    }
    if (character == '"' || character == '\\') json += '\\';
    json += character;
  }
  return json + '"';
}

}  // namespace driver
