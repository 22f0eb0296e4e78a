// SPDX-License-Identifier: MIT
#include "foundation/xml/attribute.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "foundation/testing/comma_locale.h"

namespace {

using XML::Attribute;

template <typename Value>
std::string valueOf(Value value) {
  Attribute attribute("name");
  attribute.setValue(value);
  return attribute.getValue();
}

TEST(XmlAttribute, TheValueIsEmptyAtFirst) {
  const Attribute attribute("name");
  EXPECT_STREQ(attribute.getName(), "name");
  EXPECT_STREQ(attribute.getValue(), "");
}

TEST(XmlAttribute, TypedValuesBecomeText) {
  EXPECT_STREQ(Attribute("n", "text").getValue(), "text");
  EXPECT_STREQ(Attribute("n", true).getValue(), "1");
  EXPECT_STREQ(Attribute("n", false).getValue(), "0");
  EXPECT_STREQ(Attribute("n", -12).getValue(), "-12");
  EXPECT_STREQ(Attribute("n", 1.5f).getValue(), "1.500000e+00");
  EXPECT_EQ(valueOf("text"), "text");
  EXPECT_EQ(valueOf(true), "1");
  EXPECT_EQ(valueOf(std::int32_t{-12}), "-12");
  EXPECT_EQ(valueOf(std::uint32_t{4294967295}), "4294967295");
  EXPECT_EQ(valueOf(-0.25f), "-2.500000e-01");
}

TEST(XmlAttribute, NameAndValueChange) {
  Attribute attribute("before", "value");
  attribute.setName("after");
  attribute.setValue("more");
  EXPECT_STREQ(attribute.getName(), "after");
  EXPECT_STREQ(attribute.getValue(), "more");
}

TEST(XmlAttribute, NullIsTheEmptyText) {
  const char* none = nullptr;
  Attribute attribute(none, none);
  EXPECT_STREQ(attribute.getName(), "");
  EXPECT_STREQ(attribute.getValue(), "");
  attribute.setName("name");
  attribute.setName(none);
  EXPECT_STREQ(attribute.getName(), "");
}

TEST(XmlAttribute, AValueMayBecomeAPartOfItself) {
  Attribute attribute("name", "a longer value");
  attribute.setValue(attribute.getValue() + 9);
  EXPECT_STREQ(attribute.getValue(), "value");
  attribute.setName(attribute.getValue());
  EXPECT_STREQ(attribute.getName(), "value");
}

TEST(XmlAttribute, NumbersAreReadFromTheStartOfTheValue) {
  EXPECT_EQ(Attribute("n", " -12 Hz").getValueLong(), -12);
  EXPECT_EQ(Attribute("n", "12").getValueULong(), 12u);
  EXPECT_EQ(Attribute("n", "1.5e2").getValueFloat(), 150.0f);
  EXPECT_EQ(Attribute("n", "none").getValueLong(), 0);
}

TEST(XmlAttribute, NumbersAreClampedTo32Bits) {
  EXPECT_EQ(Attribute("n", "3000000000").getValueLong(), 2147483647);
  EXPECT_EQ(Attribute("n", "-3000000000").getValueLong(), -2147483647 - 1);
  EXPECT_EQ(Attribute("n", "3000000000").getValueULong(), 3000000000u);
  EXPECT_EQ(Attribute("n", "5000000000").getValueULong(), 4294967295u);
  EXPECT_EQ(Attribute("n", "-5000000000").getValueULong(), 4294967295u);
  EXPECT_EQ(Attribute("n", "-1").getValueULong(), 4294967295u);
  EXPECT_EQ(Attribute("n", "-4294967295").getValueULong(), 1u);
}

TEST(XmlAttribute, OnlyANumberOtherThan0IsTrue) {
  EXPECT_FALSE(Attribute("n", "true").getValueBool());
  EXPECT_FALSE(Attribute("n", "yes").getValueBool());
  EXPECT_FALSE(Attribute("n", "0").getValueBool());
  EXPECT_FALSE(Attribute("n", "").getValueBool());
  EXPECT_TRUE(Attribute("n", "2").getValueBool());
  EXPECT_TRUE(Attribute("n", "-1").getValueBool());
}

TEST(XmlAttribute, TheLastReleaseDestroysTheAttribute) {
  auto* attribute = new Attribute("n");
  EXPECT_EQ(attribute->getReferences(), 0);
  attribute->incReferences();
  attribute->decReferences();
}

using XmlAttributeInALocaleWithAComma = CommaLocale;

TEST_F(XmlAttributeInALocaleWithAComma, NumbersAreReadAndWrittenWithAPoint) {
  EXPECT_STREQ(Attribute("n", 1.5f).getValue(), "1.500000e+00");
  EXPECT_EQ(Attribute("n", "1.5e2").getValueFloat(), 150.0f);
  EXPECT_EQ(Attribute("n", "1,5").getValueFloat(), 1.0f);
  EXPECT_EQ(Attribute("n", "-12.5").getValueLong(), -12);
}

}  // namespace
