// SPDX-License-Identifier: MIT
#include "protocol/wire.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace {

using Bytes = std::array<std::uint8_t, 8>;

constexpr Bytes kCounting = {1, 2, 3, 4, 5, 6, 7, 8};

TEST(Wire, NumbersAreLittleEndian) {
  EXPECT_EQ(wire::load<std::uint8_t>(kCounting, 1), 2u);
  EXPECT_EQ(wire::load<std::uint16_t>(kCounting, 1), 0x0302u);
  EXPECT_EQ(wire::load<std::uint32_t>(kCounting, 1), 0x05040302u);
  EXPECT_EQ(wire::load<std::uint64_t>(kCounting, 0), 0x0807060504030201u);

  Bytes bytes = {};
  wire::store<std::uint32_t>(bytes, 3, 0xa0b0c0d0);
  EXPECT_EQ(bytes, (Bytes{0, 0, 0, 0xd0, 0xc0, 0xb0, 0xa0, 0}));
}

TEST(Wire, BytesPastTheEndReadAsZero) {
  EXPECT_EQ(wire::load<std::uint32_t>(kCounting, 6), 0x0807u);
  EXPECT_EQ(wire::load<std::uint32_t>(kCounting, 8), 0u);
  EXPECT_EQ(wire::load<std::uint32_t>(kCounting, std::numeric_limits<std::size_t>::max()), 0u);
}

TEST(Wire, BytesPastTheEndAreNotStored) {
  Bytes bytes = {};
  wire::store<std::uint32_t>(bytes, 6, 0x04030201);
  wire::store<std::uint32_t>(bytes, std::numeric_limits<std::size_t>::max(), 0x04030201);
  EXPECT_EQ(bytes, (Bytes{0, 0, 0, 0, 0, 0, 1, 2}));
}

TEST(Wire, CopyingTakesWhatBothHold) {
  std::array<std::uint8_t, 3> small = {};
  EXPECT_EQ(wire::copyFitting(kCounting, small), 3u);
  EXPECT_EQ(small, (std::array<std::uint8_t, 3>{1, 2, 3}));

  Bytes bytes = {};
  EXPECT_EQ(wire::copyFitting(small, bytes), 3u);
  EXPECT_EQ(bytes, (Bytes{1, 2, 3}));
}

TEST(Wire, WordsFollowEachOther) {
  std::array<std::uint32_t, 2> words = {};
  wire::loadWords(kCounting, 1, words);
  EXPECT_EQ(words, (std::array<std::uint32_t, 2>{0x05040302, 0x00080706}));

  Bytes bytes = {};
  wire::storeWords(bytes, 2, words);
  EXPECT_EQ(bytes, (Bytes{0, 0, 2, 3, 4, 5, 6, 7}));
}

}  // namespace
