// SPDX-License-Identifier: MIT
#include "settings/show_cf_obj.h"

#include <cstdarg>
#include <cstdio>
#include <string_view>
#include <variant>

#include "platform/log/log.h"

namespace show_cf_obj {

namespace {

struct Describe {
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const {
    char text[32];
    std::snprintf(text, sizeof text, "%.15g", value);
    return text;
  }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(const CFDate& value) const { return value.text; }
  std::string operator()(const CFData& value) const {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text = "<";
    for (const std::uint8_t byte : value) {
      text += kDigits[byte >> 4];
      text += kDigits[byte & 15];
    }
    return text + ">";
  }
  std::string operator()(const CFArray& value) const {
    std::string text = "(";
    for (const CFValue& item : value) text += (text == "(" ? "" : ", ") + description(item);
    return text + ")";
  }
  std::string operator()(const CFDictionary& value) const {
    std::string text = "{";
    for (const auto& [key, item] : value) text += " " + key + " = " + description(item) + ";";
    return text + " }";
  }
};

// Replaces "%@" by "%s"; "%%@" is a percent sign and "@".
std::string withTexts(std::string_view format) {
  std::string result;
  for (std::size_t i = 0; i < format.size(); ++i) {
    result += format[i];
    if (format[i] != '%' || i + 1 == format.size()) continue;
    ++i;
    result += format[i] == '@' ? 's' : format[i];
  }
  return result;
}

std::string representable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t size = utf8CharacterSize(text);
    result.append(size ? text.substr(0, size) : "?");
    text.remove_prefix(size ? size : 1);
  }
  return result;
}

// The caller of showCFObj() is responsible for the format.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string print(const std::string& format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format.c_str(), again);
  va_end(again);
  if (length < 0) return {};
  std::string text(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format.c_str(), arguments);
  return text;
}
#pragma GCC diagnostic pop

}  // namespace

std::string description(const CFValue& value) { return std::visit(Describe(), value.storage()); }

void log(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = representable(print(withTexts(format), arguments));
  va_end(arguments);
  platform::syslog(platform::LogPriority::kWarning, "%.*s\n\n", static_cast<int>(text.size()),
                   text.data());
}

}  // namespace show_cf_obj
