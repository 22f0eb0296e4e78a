// SPDX-License-Identifier: MIT
// Reads and writes numbers as text with a decimal point, whatever the process's locale.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <locale>

// Gives the calling thread the "C" locale for the lifetime of this object.
class CLocale {
 public:
  CLocale() : former_(uselocale(plain())) {}
  ~CLocale() { uselocale(former_); }
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;

 private:
  // Made once and shared by all threads until the process ends.
  static locale_t plain() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
  }

  locale_t former_;
};

// Reads as atol does, clamped to 32 bits; 0 when `text` does not start with a number.
inline std::int32_t parseInt32(const char* text) {
  const CLocale locale;
  constexpr long long kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr long long kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::strtoll(text, nullptr, 10), kLeast, kMost));
}

// Reads as strtoul does with a result of 32 bits: a minus sign negates within them, and a number
// that is too large, with or without the sign, gives the largest one. No program calls this.
inline std::uint32_t parseUInt32(const char* text) {
  const CLocale locale;
  constexpr long long kMost = std::numeric_limits<std::uint32_t>::max();
  const long long value = std::strtoll(text, nullptr, 10);
  return static_cast<std::uint32_t>(value < -kMost || value > kMost ? kMost : value);
}

// Reads as atof does. No program calls this.
inline double parseDouble(const char* text) {
  const CLocale locale;
  return std::strtod(text, nullptr);
}
