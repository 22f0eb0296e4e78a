// SPDX-License-Identifier: MIT
// The order in which clients sort a driver's services by their paths.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

// Compares runs of digits as numbers: "service9" before "service10". Texts that differ in leading
// zeros alone are in the order of their characters.
struct NaturalOrder {
  bool operator()(std::string_view left, std::string_view right) const {
    const std::pair whole(left, right);
    while (!left.empty() && !right.empty()) {
      const std::string_view a = takeToken(left);
      const std::string_view b = takeToken(right);
      // A number with more digits is larger.
      if (a.size() != b.size() && isDigit(a[0]) && isDigit(b[0])) return a.size() < b.size();
      if (a != b) return a < b;
    }
    if (left.empty() != right.empty()) return left.empty();
    return whole.first < whole.second;
  }

 private:
  static bool isDigit(char character) { return character >= '0' && character <= '9'; }

  // Pops the next token: a run of digits (leading zeros stripped) or one other character.
  static std::string_view takeToken(std::string_view& text) {
    std::size_t size = 0;
    while (size < text.size() && isDigit(text[size])) ++size;
    std::string_view part = text.substr(0, std::max<std::size_t>(size, 1));
    text.remove_prefix(part.size());
    while (part.size() > 1 && part.front() == '0') part.remove_prefix(1);
    return part;
  }
};
