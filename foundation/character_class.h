// SPDX-License-Identifier: MIT
// Classes of single bytes, and comparison that ignores case; independent of the locale.
//
// A `char` is one byte of ISO-8859-1 text, signed or not. Thread-safe.
#pragma once

#include <array>
#include <cstdint>

namespace character_class {

enum : std::uint8_t { kSpace = 1, kDigit = 2, kAlpha = 4, kSymbol = 8 };

constexpr std::uint8_t classesOf(int byte) {
  const bool alpha = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
  // The upper half contains the blanks of two character sets.
  const bool space = (byte >= 0x09 && byte <= 0x0d) || byte == 0x20 ||
                     (byte >= 0x81 && byte <= 0x90 && byte != 0x86) ||
                     (byte >= 0x93 && byte <= 0xa0);
  const bool digit = byte >= '0' && byte <= '9';
  return static_cast<std::uint8_t>((space ? kSpace : 0) | (digit ? kDigit : 0) |
                                   (alpha ? kAlpha | kSymbol : 0) | (byte == '_' ? kSymbol : 0));
}

constexpr std::array<std::uint8_t, 256> makeTable() {
  std::array<std::uint8_t, 256> table = {};
  for (int byte = 0; byte < 256; ++byte) table[static_cast<std::size_t>(byte)] = classesOf(byte);
  return table;
}

inline constexpr std::array<std::uint8_t, 256> kTable = makeTable();

// Whether `c` belongs to one of `classes`.
constexpr bool isOneOf(char c, int classes) {
  return (kTable[static_cast<unsigned char>(c)] & classes) != 0;
}

}  // namespace character_class

// '0' to '9'.
// No program calls this.
constexpr bool cfIsDigit(char c) { return character_class::isOneOf(c, character_class::kDigit); }

// Bytes 0x09 to 0x0d, 0x20, 0x81 to 0x90 without 0x86, and 0x93 to 0xa0.
constexpr bool cfIsSpace(char c) { return character_class::isOneOf(c, character_class::kSpace); }

// 'A' to 'Z' and 'a' to 'z'.
constexpr bool cfIsAlpha(char c) { return character_class::isOneOf(c, character_class::kAlpha); }

// A letter or '_', but no digit.
// No program calls this.
constexpr bool cfIsCSymbol(char c) { return character_class::isOneOf(c, character_class::kSymbol); }

// Maps 'A' to 'Z' to 'a' to 'z' and returns every other character unchanged.
constexpr char cfToLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Compares at most `n` characters and ignores case. Returns 0 when they are equal, also when both
// texts end earlier. At the first difference it returns 1 when the character of `b` is greater (as
// a signed byte), else -1: the reverse of strcmp. Null texts: 0 when both are null, 1 when `a` is,
// -1 when `b` is.
std::int32_t cfStrnicmp(const char* a, const char* b, std::int32_t n);

// Compares with cfStrnicmp over the length of the shorter text. If they are equal there, returns -1
// when `a` is shorter, 1 when `b` is shorter, else 0.
std::int32_t cfStricmp(const char* a, const char* b);
