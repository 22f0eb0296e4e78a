// SPDX-License-Identifier: MIT
// Little-endian numbers in byte areas that were received from outside or are about to be sent.
//
// Offsets count bytes. Nothing is read or written outside an area: bytes past its end read as 0 and
// are dropped when stored, so that a length claimed by a driver can never reach other memory.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>

namespace wire {

template <std::unsigned_integral T>
T load(std::span<const std::uint8_t> from, std::size_t offset) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < sizeof(T) && offset < from.size() && i < from.size() - offset; ++i) {
    value |= std::uint64_t{from[offset + i]} << (8 * i);
  }
  return static_cast<T>(value);
}

template <std::unsigned_integral T>
void store(std::span<std::uint8_t> to, std::size_t offset, T value) {
  for (std::size_t i = 0; i < sizeof(T) && offset < to.size() && i < to.size() - offset; ++i) {
    to[offset + i] = static_cast<std::uint8_t>(std::uint64_t{value} >> (8 * i));
  }
}

// Copies from the start of `from` to the start of `to` as many bytes as both hold; returns how many
// that were.
inline std::size_t copyFitting(std::span<const std::uint8_t> from, std::span<std::uint8_t> to) {
  const std::size_t count = std::min(from.size(), to.size());
  std::copy_n(from.begin(), count, to.begin());
  return count;
}

// Consecutive 32-bit words from `offset` on.
inline void loadWords(std::span<const std::uint8_t> from, std::size_t offset,
                      std::span<std::uint32_t> words) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    words[i] = load<std::uint32_t>(from, offset + 4 * i);
  }
}

inline void storeWords(std::span<std::uint8_t> to, std::size_t offset,
                       std::span<const std::uint32_t> words) {
  for (std::size_t i = 0; i < words.size(); ++i) store(to, offset + 4 * i, words[i]);
}

}  // namespace wire
