// SPDX-License-Identifier: MIT
#include "foundation/xml/entities.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string coded(const char* text) {
  LumString string(text);
  XML::preStreaming(string);
  return string.getCharPointer();
}

std::string decoded(const char* text) {
  LumString string(text);
  XML::postStreaming(string);
  return string.getCharPointer();
}

TEST(XmlEntities, FiveCharactersAreCoded) {
  EXPECT_EQ(coded("a & 'b' <c> \"d\""), "a &amp; &apos;b&apos; &lt;c&gt; &quot;d&quot;");
  EXPECT_EQ(coded("&lt;"), "&amp;lt;");
  EXPECT_EQ(coded(""), "");
}

TEST(XmlEntities, TheirNamesAreDecoded) {
  EXPECT_EQ(decoded("a &amp; &apos;b&apos; &lt;c&gt; &quot;d&quot;"), "a & 'b' <c> \"d\"");
}

TEST(XmlEntities, DecodedTextIsNotDecodedAgain) {
  EXPECT_EQ(decoded("&amp;lt;"), "&lt;");
  EXPECT_EQ(decoded("&amp;amp;"), "&amp;");
  EXPECT_EQ(decoded("&am&lt;p;"), "&am<p;");
}

TEST(XmlEntities, OtherAmpersandsAndNumbersStay) {
  EXPECT_EQ(decoded("& &x; &#60; &lt &LT; &am"), "& &x; &#60; &lt &LT; &am");
}

TEST(XmlEntities, DecodingGivesBackWhatWasCoded) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(decoded(coded(all.c_str()).c_str()), all);
}

TEST(XmlEntities, MillionsAreCodedAndDecodedInLinearTime) {
  constexpr std::int32_t kCount = 2'000'000;
  LumString string('&', kCount);
  XML::preStreaming(string);
  EXPECT_EQ(string.getLength(), 5 * kCount);
  XML::postStreaming(string);
  EXPECT_EQ(string.getLength(), kCount);
}

}  // namespace
