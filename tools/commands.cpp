// SPDX-License-Identifier: MIT
#include "tools/commands.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "protocol/words.h"

namespace vx310ctl {

std::string printable(std::string_view text) {
  std::string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    // U+0080 to U+009F are 0xC2 and one more byte, which has their number.
    const bool isPair = text[i] == '\xC2' && i + 1 < text.size() && (text[i + 1] & 0xE0) == 0x80;
    if (isPair) ++i;
    const auto byte = static_cast<unsigned char>(text[i]);
    if (isPair || byte < 0x20 || byte == 0x7F) {
      std::array<char, 8> escaped{};
      std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(byte));
      line += escaped.data();
    } else {
      line += text[i];
    }
  }
  return line;
}

std::string withoutSpacesAtEnd(std::string text) {
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

std::string lineOf(std::string_view name, std::string_view text) {
  constexpr std::size_t kTextColumn = 24;
  std::string line = std::string(name) + ':';
  line.resize(std::max(line.size(), kTextColumn), ' ');
  return withoutSpacesAtEnd(line.append(printable(text))) + '\n';
}

std::string jsonText(const nlohmann::ordered_json& object, int indent) {
  using Json = nlohmann::ordered_json;
  Json output = {{member::kSchema, kJsonSchema}};
  output.update(object);
  std::string text;
  const std::string lines = output.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
  for (std::size_t begin = 0, end = 0; begin < lines.size(); begin = end + 1) {
    end = lines.find('\n', begin);
    // The library escapes U+0000 to U+001F alone.
    text += printable(std::string_view(lines).substr(begin, end - begin)) + '\n';
  }
  return text;
}

void printJson(const nlohmann::ordered_json& object) {
  std::fputs(jsonText(object).c_str(), stdout);
}

}  // namespace vx310ctl
