// SPDX-License-Identifier: MIT
#include "foundation/character_class.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// The bytes for which `is` holds, lowest first.
std::string bytesThat(bool (*is)(char)) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    if (is(static_cast<char>(byte))) bytes += static_cast<char>(byte);
  }
  return bytes;
}

const std::string kCapitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const std::string kSmalls = "abcdefghijklmnopqrstuvwxyz";

TEST(CharacterClass, TenDigitsAndNoOtherByteAreDigits) {
  EXPECT_EQ(bytesThat([](char c) { return cfIsDigit(c); }), "0123456789");
}

TEST(CharacterClass, OnlySevenBitLettersAreLetters) {
  EXPECT_EQ(bytesThat([](char c) { return cfIsAlpha(c); }), kCapitals + kSmalls);
}

TEST(CharacterClass, ASymbolIsALetterOrTheUnderscore) {
  EXPECT_EQ(bytesThat([](char c) { return cfIsCSymbol(c); }), kCapitals + "_" + kSmalls);
}

TEST(CharacterClass, BlanksIncludeBytesOfTheUpperHalf) {
  EXPECT_EQ(bytesThat([](char c) { return cfIsSpace(c); }),
            "\x09\x0a\x0b\x0c\x0d\x20"
            "\x81\x82\x83\x84\x85\x87\x88\x89\x8a\x8b\x8c\x8d\x8e\x8f\x90"
            "\x93\x94\x95\x96\x97\x98\x99\x9a\x9b\x9c\x9d\x9e\x9f\xa0");
}

TEST(CharacterClass, OnlySevenBitCapitalsHaveASmallLetter) {
  for (int byte = 0; byte < 256; ++byte) {
    const auto c = static_cast<char>(byte);
    const std::size_t at = kCapitals.find(c);
    EXPECT_EQ(cfToLower(c), at == std::string::npos ? c : kSmalls[at]) << byte;
  }
}

TEST(CharacterClass, StrnicmpIgnoresCaseAndStopsAfterTheCount) {
  EXPECT_EQ(cfStrnicmp("DocType html", "doctype HEAD", 8), 0);
  EXPECT_NE(cfStrnicmp("doctype html", "doctype head", 10), 0);
  EXPECT_EQ(cfStrnicmp("a", "b", 0), 0);
  EXPECT_EQ(cfStrnicmp("a", "b", -1), 0);
}

TEST(CharacterClass, TextsThatEndTogetherBeforeTheCountAreEqual) {
  const char a[] = "ab\0x";
  const char b[] = "AB\0y";
  EXPECT_EQ(cfStrnicmp(a, b, 4), 0);
}

TEST(CharacterClass, TheSignOfADifferenceIsTheReverseOfStrcmps) {
  EXPECT_EQ(cfStrnicmp("a", "b", 1), 1);
  EXPECT_EQ(cfStrnicmp("b", "A", 1), -1);
  EXPECT_EQ(cfStrnicmp("", "a", 1), 1);
  // As signed bytes the upper half comes first.
  EXPECT_EQ(cfStrnicmp("a", "\xe4", 1), -1);
  EXPECT_EQ(cfStricmp("a", "b"), 1);
  EXPECT_NE(cfStricmp("B", "a"), 0);
}

TEST(CharacterClass, NullTextsCompare) {
  EXPECT_EQ(cfStrnicmp(nullptr, nullptr, 3), 0);
  EXPECT_EQ(cfStrnicmp(nullptr, "", 3), 1);
  EXPECT_EQ(cfStrnicmp("", nullptr, 3), -1);
  EXPECT_EQ(cfStricmp(nullptr, nullptr), 0);
  EXPECT_EQ(cfStricmp(nullptr, "a"), 1);
  EXPECT_EQ(cfStricmp("a", nullptr), -1);
}

TEST(CharacterClass, ATextThatStartsAnotherIsSmaller) {
  EXPECT_EQ(cfStricmp("abc", "ABCD"), -1);
  EXPECT_EQ(cfStricmp("ABCD", "abc"), 1);
  EXPECT_EQ(cfStricmp("abc", "ABC"), 0);
  EXPECT_EQ(cfStricmp("", ""), 0);
}

}  // namespace
