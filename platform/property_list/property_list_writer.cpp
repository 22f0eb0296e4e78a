// SPDX-License-Identifier: MIT
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/property_list/property_list.h"

namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kFooter = "</plist>\n";

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

constexpr std::uint32_t kNoCharacter = std::numeric_limits<std::uint32_t>::max();

struct Character {
  std::uint32_t code;  // kNoCharacter when the bytes are no UTF-8
  std::size_t size;
};

// The character that `text`, which is not empty, starts with.
Character firstCharacter(std::string_view text) {
  const auto byteAt = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byteAt(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  constexpr std::array<std::uint32_t, 5> kLowest = {0, 0, 0x80, 0x800, 0x10000};
  if (lead < 0xC0 || lead > 0xF7 || text.size() < size) return {kNoCharacter, 1};
  std::uint32_t code = lead & (0x7Fu >> size);
  for (std::size_t i = 1; i < size; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) return {kNoCharacter, 1};
    code = code << 6 | (byteAt(i) & 0x3F);
  }
  return code < kLowest[size] ? Character{kNoCharacter, 1} : Character{code, size};
}

// The characters of XML 1.0, section 2.2.
bool isXmlCharacter(std::uint32_t code) {
  return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code <= 0xD7FF) ||
         (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

std::string base64(const CFData& data) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  result.reserve((data.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < data.size(); i += 3) {
    const std::size_t left = data.size() - i;
    const std::uint32_t bits = static_cast<std::uint32_t>(data[i]) << 16 |
                               (left > 1 ? static_cast<std::uint32_t>(data[i + 1]) << 8 : 0) |
                               (left > 2 ? static_cast<std::uint32_t>(data[i + 2]) : 0);
    result += kDigits[bits >> 18];
    result += kDigits[bits >> 12 & 63];
    result += left > 1 ? kDigits[bits >> 6 & 63] : '=';
    result += left > 2 ? kDigits[bits & 63] : '=';
  }
  return result;
}

class Writer {
 public:
  std::string take() && { return std::move(out_); }

  // False when the value is nested too deep or holds too many arrays and dictionaries.
  bool write(const CFValue& value) {
    indent();
    return std::visit([this](const auto& item) { return writeItem(item); }, value.storage());
  }

 private:
  bool writeItem(bool value) {
    out_ += value ? "<true/>\n" : "<false/>\n";
    return true;
  }
  bool writeItem(std::int64_t value) { return element("integer", std::to_string(value)); }
  bool writeItem(double value) { return element("real", textOf(value)); }
  bool writeItem(const std::string& value) { return element("string", escaped(value)); }
  bool writeItem(const CFDate& value) { return element("date", escaped(value.text)); }
  bool writeItem(const CFData& value) { return element("data", base64(value)); }

  bool writeItem(const CFArray& array) {
    if (!enter("<array>\n")) return false;
    for (const CFValue& item : array) {
      if (!write(item)) return false;
    }
    return leave("</array>\n");
  }

  bool writeItem(const CFDictionary& dictionary) {
    if (!enter("<dict>\n")) return false;
    for (const auto& [key, item] : dictionary) {
      indent();
      element("key", escaped(key));
      if (!write(item)) return false;
    }
    return leave("</dict>\n");
  }

  bool enter(std::string_view tag) {
    if (++level_ >= kDeepestPropertyList || ++containers_ > kMostPropertyListObjects) return false;
    out_ += tag;
    return true;
  }

  bool leave(std::string_view tag) {
    --level_;
    indent();
    out_ += tag;
    return true;
  }

  void indent() { out_.append(static_cast<std::size_t>(level_), '\t'); }

  bool element(std::string_view name, std::string_view content) {
    out_.append("<").append(name).append(">").append(content);
    out_.append("</").append(name).append(">\n");
    return true;
  }

  // The shortest text that is read as the same number.
  static std::string textOf(double value) {
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return std::string(text.data(), end);
  }

  static std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : textForXml(text)) {
      switch (c) {
        case '&':
          result += "&amp;";
          break;
        case '<':
          result += "&lt;";
          break;
        case '>':
          result += "&gt;";
          break;
        case '\r':  // as it is it would be read as a line feed
          result += "&#13;";
          break;
        default:
          result += c;
      }
    }
    return result;
  }

  std::string out_ = std::string(kHeader);
  int level_ = 0;
  std::size_t containers_ = 0;
};

}  // namespace

std::string textForXml(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    result += isXmlCharacter(character.code) ? text.substr(0, character.size) : kReplacement;
    text.remove_prefix(character.size);
  }
  return result;
}

std::optional<std::string> xmlPropertyList(const CFValue& value) {
  Writer writer;
  if (!writer.write(value)) return std::nullopt;
  return std::move(writer).take().append(kFooter);
}
