// SPDX-License-Identifier: MIT
#include "foundation/lum_string.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "foundation/testing/comma_locale.h"

namespace {

std::string text(const LumString& string) {
  return {string.getCharPointer(), static_cast<std::size_t>(string.getLength())};
}

// The invariant after every operation except asString.
void expectsSound(const LumString& string) {
  EXPECT_LT(string.getLength(), string.getCapacity());
  EXPECT_EQ(string.getCharPointer()[string.getLength()], '\0');
}

LumString ofLength(std::int32_t length) { return {'x', length}; }

// A text with a NUL inside that counts in the length: "ab", NUL, "c".
LumString withNulInside() {
  LumString string("ab");
  string += '\0';
  string += 'c';
  return string;
}

std::string substringOf(const char* of, std::int32_t start, std::int32_t count) {
  LumString out("before");
  LumString(of).substring(out, start, count);
  return text(out);
}

std::string hexOf(const char* of) {
  LumString out("before");
  LumString(of).toHexString(out);
  return text(out);
}

// --- Construction ---

TEST(LumString, ANewStringIsEmptyWithACapacityOf33) {
  const LumString string;
  EXPECT_TRUE(string.isEmpty());
  EXPECT_EQ(string.getCapacity(), 33);
  EXPECT_STREQ(string, "");
  EXPECT_EQ(string.getReferences(), 0);
}

TEST(LumString, AStringMadeFromATextHasACapacityOf33More) {
  const LumString string("abc");
  EXPECT_EQ(text(string), "abc");
  EXPECT_EQ(string.getCapacity(), 36);
}

TEST(LumString, AStringMadeFromNullIsEmpty) {
  const LumString string(nullptr);
  EXPECT_TRUE(string.isEmpty());
  EXPECT_EQ(string.getCapacity(), 33);
}

TEST(LumString, ACopyHasACapacityOfItsOwn) {
  LumString string("abc");
  string.setSize(100);
  const LumString copy(string);
  EXPECT_EQ(copy.getCapacity(), 36);
  string += "d";
  EXPECT_EQ(text(copy), "abc");
}

TEST(LumString, RepeatedCharactersGiveTheirTextAndCapacity) {
  const LumString string('x', 40);
  EXPECT_EQ(text(string), std::string(40, 'x'));
  EXPECT_EQ(string.getCapacity(), 73);
  EXPECT_TRUE(LumString('x', 0).isEmpty());
  EXPECT_EQ(LumString('x', -3).getCapacity(), 33);
}

TEST(LumString, RepeatedNulsGiveAnEmptyStringWithTheCapacity) {
  const LumString string('\0', 40);
  EXPECT_TRUE(string.isEmpty());
  EXPECT_EQ(string.getCapacity(), 73);
}

// --- Storage ---

TEST(LumString, ClearingAfterGetTokenEmptiesTheString) {
  LumString string("a,bcdefgh");
  LumString token;
  string.getToken(",", token);
  string.clear();
  EXPECT_EQ(text(string), "");
  expectsSound(string);
}

TEST(LumString, SettingATextAfterGetTokenSetsAllOfIt) {
  LumString string("a,bcdefgh");
  LumString token;
  string.getToken(",", token);
  string.setText("xyz");
  EXPECT_EQ(text(string), "xyz");
}

TEST(LumString, ACopyAfterGetTokenHoldsTheRest) {
  LumString string("a,bcdefgh");
  LumString token;
  string.getToken(",", token);
  EXPECT_EQ(text(LumString(string)), "bcdefgh");
  EXPECT_EQ(text(LumString(string)), string.view());
}

TEST(LumString, OverwritingKeepsTheLengthUntilItIsCounted) {
  LumString string("abcdef");
  string.overwrite("xyz");
  EXPECT_EQ(string.getLength(), 6);
  EXPECT_EQ(string.view(), "xyz");
  EXPECT_EQ(string.countLength(), 3);
}

TEST(LumString, TakeTextMovesTheTextOutAndSetTextMovesItIn) {
  LumString string("a,bc");
  LumString token;
  string.getToken(",", token);
  string += '\0';
  std::string taken = string.takeText();
  EXPECT_EQ(taken, "bc");
  EXPECT_EQ(text(string), "");
  expectsSound(string);
  string.setText(taken + std::string(100, 'x'));
  EXPECT_EQ(text(string), "bc" + std::string(100, 'x'));
  EXPECT_EQ(string.getCapacity(), 103);
  string.setText("d");
  EXPECT_EQ(text(string), "d");
  EXPECT_EQ(string.getCapacity(), 103);
}

TEST(LumString, AssigningATextThatFitsKeepsTheBuffer) {
  LumString string;
  const char* buffer = string;
  string.assign(ofLength(32));
  EXPECT_EQ(string.getCapacity(), 33);
  EXPECT_EQ(string.getCharPointer(), buffer);
  EXPECT_EQ(string.getLength(), 32);
  string.setSize(1000);
  buffer = string;
  string.assign(ofLength(1000));
  EXPECT_EQ(string.getCharPointer(), buffer);
}

TEST(LumString, AssigningOneByteMoreRaisesTheCapacity) {
  LumString string;
  string.assign(ofLength(33));
  EXPECT_EQ(string.getLength(), 33);
  EXPECT_EQ(string.getCapacity(), 66);
  string.assign("");
  EXPECT_EQ(string.getCapacity(), 66);
}

TEST(LumString, AssigningNullEmpties) {
  LumString string("abc");
  string.assign(static_cast<const char*>(nullptr));
  EXPECT_EQ(text(string), "");
}

TEST(LumString, AssigningAStringTakesItsTextToTheFirstNul) {
  const LumString other = withNulInside();
  LumString string("before");
  string.assign(other);
  EXPECT_EQ(text(string), "ab");
  EXPECT_EQ(text(LumString(other)), std::string("ab\0c", 4));
}

TEST(LumString, AssigningAPartOfItselfKeepsThatPart) {
  LumString string("abcdef");
  string.assign(string.getCharPointer() + 2);
  EXPECT_EQ(text(string), "cdef");
  string = *&string;
  EXPECT_EQ(text(string), "cdef");
}

TEST(LumString, OnlyClearMakesTheCapacitySmaller) {
  LumString string(ofLength(500));
  string.setLength(1);
  string.assign("a");
  string.setSize(3);
  EXPECT_EQ(string.getCapacity(), 533);
  string.clear();
  EXPECT_EQ(string.getCapacity(), 33);
  EXPECT_EQ(text(string), "");
}

TEST(LumString, SetSizeGrowsToOneMoreAndKeepsTheText) {
  LumString string("abc");
  string.setSize(36);
  EXPECT_EQ(string.getCapacity(), 36);
  EXPECT_EQ(&string.setSize(37), &string);
  EXPECT_EQ(string.getCapacity(), 38);
  EXPECT_EQ(text(string), "abc");
  string.setSize(-1);
  EXPECT_EQ(string.getCapacity(), 38);
}

TEST(LumString, SetLengthToTheLengthKeepsAnInnerNul) {
  LumString string = withNulInside();
  string.setLength(4);
  EXPECT_EQ(string.getLength(), 4);
}

TEST(LumString, SetLengthPadsWithBlanksAndCuts) {
  LumString string("ab");
  string.setLength(5);
  EXPECT_EQ(text(string), "ab   ");
  string.setLength(1);
  EXPECT_EQ(text(string), "a");
  string.setLength(-4);
  EXPECT_EQ(text(string), "");
  string.setLength(100);
  EXPECT_EQ(text(string), std::string(100, ' '));
  EXPECT_EQ(string.getCapacity(), 103);
}

TEST(LumString, TheCapacityDoublesOnceACharacterDoesNotFit) {
  LumString string;
  for (int i = 0; i < 32; ++i) string += 'x';
  EXPECT_EQ(string.getCapacity(), 33);
  string += 'x';
  EXPECT_EQ(string.getCapacity(), 65);
  for (int i = 33; i < 64; ++i) string += 'x';
  EXPECT_EQ(string.getCapacity(), 65);
  string += 'x';
  EXPECT_EQ(string.getCapacity(), 129);
  EXPECT_EQ(text(string), std::string(65, 'x'));
  for (int i = 65; i < 129; ++i) string += 'x';
  EXPECT_EQ(string.getCapacity(), 257);
}

TEST(LumString, AnAppendedTextThatDoesNotFitLeavesTwoBytesFree) {
  LumString string(ofLength(30));
  string += "yy";
  EXPECT_EQ(string.getCapacity(), 63);
  string += ofLength(30);
  EXPECT_EQ(string.getCapacity(), 63);
  string += "z";
  EXPECT_EQ(string.getLength(), 63);
  EXPECT_EQ(string.getCapacity(), 66);
  string += static_cast<const char*>(nullptr);
  EXPECT_EQ(text(string), std::string(30, 'x') + "yy" + std::string(30, 'x') + "z");
}

TEST(LumString, AnAppendedTextFitsWhileTheCapacityIsLarger) {
  LumString string("abc");
  string += ofLength(32);
  EXPECT_EQ(string.getCapacity(), 36);
  string += "y";
  EXPECT_EQ(string.getCapacity(), 39);
  EXPECT_EQ(text(string), "abc" + std::string(32, 'x') + "y");
}

TEST(LumString, AppendingItselfDoublesTheText) {
  LumString string("ab");
  for (int i = 0; i < 8; ++i) string += string;
  std::string doubled = "ab";
  for (int i = 0; i < 8; ++i) doubled += doubled;
  EXPECT_EQ(text(string), doubled);
}

TEST(LumString, AnAppendedNulCountsUntilTheLengthIsCounted) {
  LumString string("ab");
  string += '\0';
  EXPECT_EQ(string.getLength(), 3);
  string += 'c';
  EXPECT_EQ(string.getLength(), 4);
  EXPECT_EQ(text(string), std::string("ab\0c", 4));
  EXPECT_EQ(string.countLength(), 2);
}

TEST(LumString, AppendingATextCountsTheLength) {
  LumString string("ab");
  string += '\0';
  string += "cd";
  EXPECT_EQ(text(string), "ab");
}

TEST(LumString, GrowingCountsTheLength) {
  LumString string;
  string.assign("ab");
  for (int i = 2; i < 32; ++i) string += '\0';
  EXPECT_EQ(string.getLength(), 32);
  string += 'c';
  EXPECT_EQ(text(string), "abc");
  EXPECT_EQ(string.getCapacity(), 65);
}

TEST(LumString, AChangeThatWouldBeTooLongChangesNothing) {
  LumString string("abc");
  string.setLength(LumString::kMaxLength + 1);
  string.setSize(0x7fffffff);
  EXPECT_EQ(text(string), "abc");
  EXPECT_EQ(string.getCapacity(), 36);
  EXPECT_FALSE(string.append("d", LumString::kMaxLength - 2));
  EXPECT_EQ(text(string), "abc");
  EXPECT_TRUE(string.append("d", 1));
  EXPECT_TRUE(LumString('x', 0x7fffffff).isEmpty());
}

// --- Text ---

TEST(LumString, NumbersAreWrittenInDecimal) {
  LumString string("before, and longer than the number");
  string.toString(std::int32_t{-2147483647 - 1});
  EXPECT_EQ(text(string), "-2147483648");
  string.toString(short{-12});
  EXPECT_EQ(text(string), "-12");
  LumString fresh;
  EXPECT_EQ(fresh.toString(std::int32_t{2147483647}).getCapacity(), 33);
  EXPECT_EQ(text(fresh), "2147483647");
}

TEST(LumString, PrintfReplacesTheText) {
  LumString string("before");
  string.printf("%s-%d-%05.1f", string.getCharPointer(), 7, 2.5);
  EXPECT_EQ(text(string), "before-7-002.5");
  string.printf("%2047d", 1);
  EXPECT_EQ(string.getLength(), 2047);
  string.printf("%3000d", 1);
  EXPECT_EQ(text(string), std::string(2047, ' '));
}

TEST(LumString, GetTokenPopsOneTokenAtATime) {
  LumString string("a,b");
  LumString token("before");
  EXPECT_TRUE(string.getToken(",", token));
  EXPECT_EQ(text(token), "a");
  EXPECT_EQ(text(string), "b");
  EXPECT_TRUE(string.getToken(",", token));
  EXPECT_EQ(text(token), "b");
  EXPECT_EQ(text(string), "");
  EXPECT_FALSE(string.getToken(",", token));
  EXPECT_EQ(text(token), "");
}

TEST(LumString, GetTokenDropsOnlyOneDelimiterAfterTheToken) {
  LumString string(" ;a;; b ");
  LumString token;
  EXPECT_TRUE(string.getToken("; ", token));
  EXPECT_EQ(text(token), "a");
  EXPECT_EQ(text(string), "; b ");
  EXPECT_TRUE(string.getToken("; ", token));
  EXPECT_EQ(text(token), "b");
  EXPECT_EQ(text(string), "");
  expectsSound(string);
}

TEST(LumString, GetTokenWithoutATokenLeavesTheStringUnchanged) {
  LumString string(",,,");
  LumString token("before");
  EXPECT_FALSE(string.getToken(",", token));
  EXPECT_EQ(text(string), ",,,");
  EXPECT_EQ(text(token), "");
}

TEST(LumString, GetTokenAndTrimLeftCountTheLength) {
  LumString string("x,ab");
  LumString token;
  string += '\0';
  string += 'c';
  string.getToken(",", token);
  EXPECT_EQ(text(string), "ab");
  string = "  ab";
  string += '\0';
  string.trimLeft();
  EXPECT_EQ(text(string), "ab");
}

TEST(LumString, GetTokenAtTheEndLeavesAnEmptyString) {
  LumString string(",abc");
  LumString token;
  EXPECT_TRUE(string.getToken(",", token));
  EXPECT_EQ(text(token), "abc");
  EXPECT_EQ(text(string), "");
  EXPECT_EQ(string.getCapacity(), 37);
}

TEST(LumString, TextIsAppendedAndAssignedAfterGetToken) {
  LumString string("first,second");
  LumString token;
  string.getToken(",", token);
  for (int i = 0; i < 100; ++i) string += "x";
  EXPECT_EQ(text(string), "second" + std::string(100, 'x'));
  string.getToken("x", token);
  string.assign(ofLength(300));
  EXPECT_EQ(text(string), std::string(300, 'x'));
  expectsSound(string);
}

TEST(LumString, ReplacedTextIsNotSearchedAgain) {
  LumString string("aaa");
  EXPECT_EQ(&string.replace("a", "aa"), &string);
  EXPECT_EQ(text(string), "aaaaaa");
  string.replace("aa", "a");
  EXPECT_EQ(text(string), "aaa");
  string.replace("a", "");
  EXPECT_EQ(text(string), "");
}

TEST(LumString, ReplacingAnEmptyNullOrMissingTextChangesNothing) {
  LumString string("abc");
  string.replace("", "x").replace(nullptr, "x").replace("d", "x");
  EXPECT_EQ(text(string), "abc");
  string.replace("b", nullptr);
  EXPECT_EQ(text(string), "ac");
  LumString empty;
  EXPECT_EQ(text(empty.replace("a", "b")), "");
}

TEST(LumString, AReplacementMayBeAPartOfTheString) {
  LumString string("ab-ab");
  string.replace(string.getCharPointer() + 3, string.getCharPointer());
  EXPECT_EQ(text(string), "ab-ab-ab-ab");
}

TEST(LumString, TrimmingDropsBlanksAtEitherEnd) {
  LumString string(" \t\xa0 a b \r\n\x81");
  string.trimLeft();
  EXPECT_EQ(text(string), "a b \r\n\x81");
  string.trimRight();
  EXPECT_EQ(text(string), "a b");
  string.trimLeft().trimRight();
  EXPECT_EQ(text(string), "a b");
  LumString blanks("   ");
  EXPECT_EQ(text(blanks.trimRight()), "");
  EXPECT_EQ(text(LumString("  ").trimLeft()), "");
}

TEST(LumString, ASubstringEndsWithTheText) {
  EXPECT_EQ(substringOf("abc", 1, 1), "b");
  EXPECT_EQ(substringOf("abc", 1, 9), "bc");
  EXPECT_EQ(substringOf("abc", 2, 1), "c");
  EXPECT_EQ(substringOf("abc", 3, 2), "");
  EXPECT_EQ(substringOf("abc", 4, 2), "");
  EXPECT_EQ(substringOf("abc", 0, 0), "");
  EXPECT_EQ(substringOf("abc", 0, -1), "");
  EXPECT_EQ(substringOf("abc", -1, 2), "");
}

TEST(LumString, ASubstringRaisesTheCapacityForTheWholeRest) {
  for (const auto& [rest, capacity] : {std::pair{32, 33}, std::pair{33, 66}, std::pair{90, 123}}) {
    LumString out;
    ofLength(rest + 10).substring(out, 10, 0);
    EXPECT_EQ(out.getCapacity(), 33);
    ofLength(rest + 10).substring(out, 10, 5);
    EXPECT_EQ(text(out), "xxxxx");
    EXPECT_EQ(out.getCapacity(), capacity);
  }
}

TEST(LumString, ASubstringMayReplaceItsString) {
  LumString string("abcdef");
  string.substring(string, 2, 3);
  EXPECT_EQ(text(string), "cde");
}

TEST(LumString, LeftAndRightAreTheEndsOfTheText) {
  const LumString string("abc");
  LumString out;
  string.left(out, 2);
  EXPECT_EQ(text(out), "ab");
  string.right(out, 2);
  EXPECT_EQ(text(out), "bc");
  string.right(out, 10);
  EXPECT_EQ(text(out), "abc");
  string.right(out, -2);
  EXPECT_EQ(text(out), "");
}

TEST(LumString, LettersChangeCase) {
  LumString string("aBc-1\xe4");
  EXPECT_EQ(text(string.uppercase()), "ABC-1\xe4");
  EXPECT_EQ(text(string.lowercase()), "abc-1\xe4");
}

TEST(LumString, BytesAreWrittenAsHexDigits) {
  EXPECT_EQ(hexOf("Az/\x7f\x09"), "417A2F7F09");
  EXPECT_EQ(hexOf(""), "");
  LumString string("J");
  string.toHexString(string);
  EXPECT_EQ(text(string), "4A");
  LumString out = withNulInside();
  LumString("xyz").toHexString(out);
  EXPECT_EQ(text(out), "78797A");
}

TEST(LumString, AByteAbove7fGetsAnInvalidFirstHexDigit) { EXPECT_EQ(hexOf("\x80\xff"), "(0/F"); }

TEST(LumString, ToStr255Writes253CharactersOfALongText) {
  unsigned char out[256];
  std::memset(out, 0xee, sizeof out);
  ofLength(300).toStr255(out);
  EXPECT_EQ(out[0], 255);
  EXPECT_EQ(out[1], 'x');
  EXPECT_EQ(out[253], 'x');
  EXPECT_EQ(out[254], 0);
  EXPECT_EQ(out[255], 0xee);
}

TEST(LumString, ToStr255WritesTheLengthBeforeAShortText) {
  unsigned char out[256];
  std::memset(out, 0xee, sizeof out);
  LumString("abc").toStr255(out);
  EXPECT_EQ(std::memcmp(out, "\3abc\0\0", 6), 0);
  EXPECT_EQ(out[254], 0);
}

TEST(LumString, AsStringReadsTheTextAndLeavesTheLengthAt256) {
  unsigned char in[256] = "\3abcdef";
  LumString string("before");
  string.asString(in);
  EXPECT_STREQ(string, "abc");
  EXPECT_EQ(text(string), std::string("abc\0re", 6) + std::string(250, ' '));
  EXPECT_EQ(string.countLength(), 3);

  LumString shorter("x");
  shorter.asString(in);
  EXPECT_STREQ(shorter, "abc");
  LumString nulInside = withNulInside();
  nulInside.asString(in);
  EXPECT_EQ(nulInside.getLength(), 256);

  std::memset(in, 'y', sizeof in);
  in[0] = 255;
  LumString longer(ofLength(400));
  longer.asString(in);
  EXPECT_EQ(longer.countLength(), 255);
}

TEST(LumString, ScanIntReadsTheNumberAtTheStart) {
  EXPECT_EQ(LumString(" -12x").scanInt(), -12);
  EXPECT_EQ(LumString("+7").scanInt(), 7);
  EXPECT_EQ(LumString("99999999999999999999").scanInt(), 2147483647);
}

TEST(LumString, NumbersMayHaveASuffix) {
  EXPECT_EQ(LumString("1.5t").asNumeric(), 1500);
  EXPECT_EQ(LumString("2M").asNumeric(), 2000000);
  EXPECT_EQ(LumString("1T").asNumeric(), 1000);
  EXPECT_EQ(LumString("3m").asNumeric(), 3000000);
  EXPECT_EQ(LumString("- 1k2.5e1 Hz").asNumeric(), -125);
  EXPECT_EQ(LumString("+").asNumeric(), 0);
}

TEST(LumString, OnlyTheFirst256CharactersMakeANumber) {
  LumString string(' ', 255);
  string += "12";
  EXPECT_EQ(string.asNumeric(), 1);
  EXPECT_EQ(LumString('m', 1000).asNumeric(), 0);
}

TEST(LumString, MatchFindsTheFirstOccurrence) {
  const LumString string("abcabc");
  EXPECT_EQ(string.match("bc"), 1);
  EXPECT_EQ(string.match(""), 0);
  EXPECT_EQ(string.match("x"), -1);
}

TEST(LumString, ComparesWithAndWithoutCase) {
  const LumString string("abc");
  EXPECT_EQ(string.strcmp("abc"), 0);
  EXPECT_LT(string.strcmp("b"), 0);
  EXPECT_EQ(string.stricmp("ABC"), 0);
  EXPECT_EQ(string.stricmp("ABCD"), -1);
}

TEST(LumString, TheOrderIsExactlyMinusOneZeroOrOne) {
  const LumString string("b");
  EXPECT_EQ(string.compare(LumString("z")), -1);
  EXPECT_EQ(string.compare(LumString("b")), 0);
  EXPECT_EQ(string.compare(LumString("a")), 1);
  EXPECT_EQ(string.compare(LumString("\xe4")), -1);
  EXPECT_TRUE(string == LumString("b"));
  EXPECT_FALSE(string == LumString("B"));
  const LumObject& object = string;
  EXPECT_TRUE(LumString("b") == object);
}

TEST(LumString, CopyStringCopiesTheBytes) {
  const LumString string("abc");
  std::array<char, 8> out;
  out.fill('#');
  EXPECT_EQ(string.copyString(out.data(), 2), out.data());
  EXPECT_STREQ(out.data(), "ab");
  EXPECT_EQ(out[3], '#');
  string.copyString(out.data(), -1);
  EXPECT_STREQ(out.data(), "abc");
  string.copyString(out.data(), 3);
  EXPECT_STREQ(out.data(), "abc");
  string.copyString(out.data(), 0);
  EXPECT_STREQ(out.data(), "");
  EXPECT_EQ(string.copyString(nullptr, 2), nullptr);
  out.fill('#');
  withNulInside().copyString(out.data(), 4);
  EXPECT_EQ(out[3], '#');
  const std::unique_ptr<char[]> copy(string.copyString());
  EXPECT_STREQ(copy.get(), "abc");
}

TEST(LumString, EveryByteButNulIsStored) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
  LumString string;
  for (const char c : all) string += c;
  EXPECT_EQ(text(string), all);
  EXPECT_EQ(text(LumString(string)), all);
}

// A pass over the text in each step would take an hour.
TEST(LumString, LongTextsAreBuiltTakenApartAndCutInLinearTime) {
  constexpr std::int32_t kLength = 4'000'000;
  LumString string;
  for (int i = 0; i < kLength / 8; ++i) string += "a,b,c,d,";
  EXPECT_EQ(string.getCapacity() - string.getLength(), 3);
  LumString token;
  std::int32_t tokens = 0;
  while (string.getToken(",", token)) ++tokens;
  EXPECT_EQ(tokens, kLength / 2);
  string.setLength(kLength);
  for (std::int32_t i = 0; i < kLength; ++i) string.substring(token, i, 1);
  for (std::int32_t length = kLength; length > 0; --length) string.setLength(length);
  EXPECT_EQ(string.getLength(), 1);
}

// Looking for a NUL in each step would take minutes.
TEST(LumString, ATextIsNotSearchedForANulThatIsGone) {
  const std::string longText(4'000'000, 'x');
  LumString assigned;
  LumString set;
  LumString counted;
  for (LumString* string : {&assigned, &set, &counted}) *string += '\0';
  assigned.assign(longText.c_str());
  set.setText(longText);
  counted += longText.c_str();
  counted += longText.c_str();
  LumString piece;
  for (std::int32_t i = 0; i < 4'000'000; i += 2) {
    for (const LumString* string : {&assigned, &set, &counted}) string->substring(piece, i, 1);
  }
  EXPECT_EQ(text(piece), "x");
}

TEST(LumString, ManyOccurrencesAreReplaced) {
  constexpr int kOccurrences = 50'000;
  LumString string;
  for (int i = 0; i < kOccurrences; ++i) string += "a,";
  string.replace(",", ";;");
  EXPECT_EQ(string.getLength(), kOccurrences * 3);
}

TEST(LumString, AppendingItsOwnTailAfterAnInnerNulAppendsAllOfIt) {
  LumString string("x,ab");
  LumString token;
  string.getToken(",", token);
  string += '\0';
  for (int i = 0; i < 30; ++i) string += 'c';
  string += string.getCharPointer() + 3;
  EXPECT_EQ(std::string(string.getCharPointer()), "ab" + std::string(30, 'c'));
}

// --- Locale ---

using LumStringInALocaleWithAComma = CommaLocale;

TEST_F(LumStringInALocaleWithAComma, NumbersAreReadWithAPoint) {
  EXPECT_EQ(LumString("1.5t").asNumeric(), 1500);
  EXPECT_EQ(LumString("1,5").asNumeric(), 15);
  EXPECT_EQ(LumString("-12,5").scanInt(), -12);
}

TEST_F(LumStringInALocaleWithAComma, NumbersAreWrittenWithAPointAndTheLocaleStays) {
  LumString string;
  string.printf("%.1f %e", 1.5, -0.25);
  EXPECT_EQ(text(string), "1.5 -2.500000e-01");
  EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "comma");
  EXPECT_EQ(std::strtod("1,5", nullptr), 1.5);
}

}  // namespace
