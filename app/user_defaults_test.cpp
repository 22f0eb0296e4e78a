// SPDX-License-Identifier: MIT
#include "app/user_defaults.h"

#include <gtest/gtest.h>

#include <limits>

#include "platform/preferences/memory/memory_preferences.h"

namespace {

class UserDefaults : public testing::Test {
 protected:
  UserDefaults() { memory_preferences::reset(); }
  NSUserDefaults defaults_ = NSUserDefaults::standardUserDefaults();
};

TEST_F(UserDefaults, UseTheApplicationsIdentifier) {
  defaults_.setObject(3, "Key");
  EXPECT_EQ(CFPreferencesCopyAppValue("Key", CFBundleGetIdentifier()), CFValue(3));
  EXPECT_EQ(NSUserDefaults::standardUserDefaults().objectForKey("Key"), CFValue(3));
}

TEST_F(UserDefaults, SynchronizeMakesThemDurable) {
  defaults_.setObject("text", "Key");
  EXPECT_TRUE(memory_preferences::storedValues(CFBundleGetIdentifier()).empty());
  EXPECT_TRUE(defaults_.synchronize());
  EXPECT_EQ(memory_preferences::storedValues(CFBundleGetIdentifier()),
            (CFDictionary{{"Key", "text"}}));
}

TEST_F(UserDefaults, SynchronizeReturnsFalseOnFailure) {
  memory_preferences::failNextSynchronize();
  EXPECT_FALSE(defaults_.synchronize());
}

TEST_F(UserDefaults, DefaultConstructedStoreNothing) {
  NSUserDefaults none;
  none.setObject(3, "Key");
  EXPECT_EQ(none.objectForKey("Key"), std::nullopt);
  EXPECT_FALSE(none.synchronize());
  EXPECT_EQ(defaults_.objectForKey("Key"), std::nullopt);
}

TEST(IntValue, CutsAnIntegerAndClampsAFractionTo32Bits) {
  EXPECT_EQ(intValue(CFValue(-7)), -7);
  EXPECT_EQ(intValue(CFValue(std::int64_t{0x1'0000'0002})), 2);
  EXPECT_EQ(intValue(CFValue(2.9)), 2);
  EXPECT_EQ(intValue(CFValue(1e300)), INT32_MAX);
  EXPECT_EQ(intValue(CFValue(-1e300)), INT32_MIN);
  EXPECT_EQ(intValue(CFValue(true)), 1);
  EXPECT_EQ(intValue(CFValue(false)), 0);
}

TEST(IntValue, ParsesTheDecimalNumberAtTheStartOfAText) {
  EXPECT_EQ(intValue(CFValue(" 12abc")), 12);
  EXPECT_EQ(intValue(CFValue("-3")), -3);
  EXPECT_EQ(intValue(CFValue("+4")), 4);
  EXPECT_EQ(intValue(CFValue("99999999999")), INT32_MAX);
  EXPECT_EQ(intValue(CFValue("-99999999999")), INT32_MIN);
  EXPECT_EQ(intValue(CFValue("abc")), 0);
  EXPECT_EQ(intValue(CFValue("")), 0);
}

TEST(IntValue, IsZeroForAMissingValueAndOtherTypes) {
  EXPECT_EQ(intValue(std::nullopt), 0);
  EXPECT_EQ(intValue(CFValue(CFData{1})), 0);
  EXPECT_EQ(intValue(CFValue(CFArray{1})), 0);
  EXPECT_EQ(intValue(CFValue(std::numeric_limits<double>::quiet_NaN())), 0);
}

}  // namespace
