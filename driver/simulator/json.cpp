// SPDX-License-Identifier: MIT
#include "driver/simulator/json.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace driver {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr std::size_t kEscapeSize = 6;                     // of "\u0000"

// The sequences of UTF-8 by their first byte. The second byte's range keeps out code points that
// are written longer than need be, surrogates, and what lies beyond U+10FFFF.
struct Sequence {
  unsigned char firstLowest;
  unsigned char firstHighest;
  std::size_t length;
  unsigned char secondLowest;
  unsigned char secondHighest;
};
constexpr std::array<Sequence, 8> kSequences = {{{0xC2, 0xDF, 2, 0x80, 0xBF},
                                                 {0xE0, 0xE0, 3, 0xA0, 0xBF},
                                                 {0xE1, 0xEC, 3, 0x80, 0xBF},
                                                 {0xED, 0xED, 3, 0x80, 0x9F},
                                                 {0xEE, 0xEF, 3, 0x80, 0xBF},
                                                 {0xF0, 0xF0, 4, 0x90, 0xBF},
                                                 {0xF1, 0xF3, 4, 0x80, 0xBF},
                                                 {0xF4, 0xF4, 4, 0x80, 0x8F}}};

bool isBetween(char character, unsigned char lowest, unsigned char highest) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= lowest && byte <= highest;
}

// How many bytes at the beginning of `text`, which is not empty, are one character; 0 for none.
std::size_t characterLength(std::string_view text) {
  if (isBetween(text[0], 0x00, 0x7F)) return 1;
  const auto* const sequence = std::ranges::find_if(kSequences, [&text](const Sequence& s) {
    return isBetween(text[0], s.firstLowest, s.firstHighest);
  });
  if (sequence == kSequences.end() || text.size() < sequence->length) return 0;
  const std::string_view rest = text.substr(1, sequence->length - 1);
  const bool valid = isBetween(rest[0], sequence->secondLowest, sequence->secondHighest) &&
                     std::ranges::all_of(rest, [](char c) { return isBetween(c, 0x80, 0xBF); });
  return valid ? sequence->length : 0;
}

// U+0000 to U+001F and U+007F to U+009F.
bool isControl(std::string_view character) {
  if (character.size() == 1) return isBetween(character[0], 0x00, 0x1F) || character[0] == 0x7F;
  return character[0] == '\xC2' && isBetween(character[1], 0x80, 0x9F);
}

std::string escape(std::string_view control) {
  std::array<char, kEscapeSize + 1> text{};
  std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned char>(control.back()));
  return text.data();
}

}  // namespace

std::string jsonText(std::string_view text) {
  std::string json = "\"";
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
    if (length == 0) {
      json += kReplacement;
    } else if (isControl(character)) {
      json += escape(character);
    } else {
      if (character == "\"" || character == "\\") json += '\\';
      json += character;
    }
    text.remove_prefix(character.size());
  }
  return json + '"';
}

std::string readableJson(std::string_view json) {
  if (json.size() < 2 || json.front() != '"') return std::string(json);
  json = json.substr(1, json.size() - 2);
  std::string text;
  while (!json.empty()) {
    // Control characters stay escaped: what is shown to people must not move their cursor.
    const bool quoted = json.starts_with("\\\"") || json.starts_with("\\\\");
    text += json[quoted ? 1 : 0];
    json.remove_prefix(quoted ? 2 : 1);
  }
  return text;
}

}  // namespace driver
