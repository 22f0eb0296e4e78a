// SPDX-License-Identifier: MIT
#include "platform/values/values.h"

#include <gtest/gtest.h>

namespace {

TEST(Utf8, ACharacterHasOneToFourBytes) {
  EXPECT_EQ(utf8CharacterSize(std::string_view("\0", 1)), 1u);
  EXPECT_EQ(utf8CharacterSize("\x7F"), 1u);
  EXPECT_EQ(utf8CharacterSize("\xC2\x80z"), 2u);
  EXPECT_EQ(utf8CharacterSize("\xDF\xBF"), 2u);
  EXPECT_EQ(utf8CharacterSize("\xE0\xA0\x80"), 3u);
  EXPECT_EQ(utf8CharacterSize("\xED\x9F\xBF"), 3u);
  EXPECT_EQ(utf8CharacterSize("\xEF\xBF\xBF"), 3u);
  EXPECT_EQ(utf8CharacterSize("\xF0\x90\x80\x80"), 4u);
  EXPECT_EQ(utf8CharacterSize("\xF4\x8F\xBF\xBF"), 4u);
}

TEST(Utf8, BytesThatAreNoUtf8HaveSize0) {
  for (const char* bytes : {"\x80", "\xBF", "\xFF", "\xF5\x80\x80\x80"}) {
    EXPECT_EQ(utf8CharacterSize(bytes), 0u) << "no first byte";
  }
  for (const char* bytes : {"\xC3", "\xE2\x82", "\xF0\x9F\x8E"}) {
    EXPECT_EQ(utf8CharacterSize(bytes), 0u) << "cut";
  }
  for (const char* bytes : {"\xC3z", "\xE2\x82z", "\xF0z\x8E\xB8"}) {
    EXPECT_EQ(utf8CharacterSize(bytes), 0u) << "a byte that continues nothing";
  }
  for (const char* bytes : {"\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF"}) {
    EXPECT_EQ(utf8CharacterSize(bytes), 0u) << "overlong";
  }
  EXPECT_EQ(utf8CharacterSize("\xED\xA0\x80"), 0u) << "a surrogate";
  EXPECT_EQ(utf8CharacterSize("\xF4\x90\x80\x80"), 0u) << "above the last character";
}

}  // namespace
