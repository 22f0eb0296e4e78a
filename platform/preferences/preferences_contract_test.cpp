// SPDX-License-Identifier: MIT
// The contract of the preferences. Compiled against each back end.
#include "platform/preferences/preferences.h"

#include <gtest/gtest.h>

#include "platform/preferences/preferences_contract_fixture.h"

namespace {

constexpr const char* kId = "com.vantrel.test.hal";
constexpr const char* kOtherId = "com.vantrel.test.other";

class Preferences : public testing::Test {
 protected:
  static std::optional<CFValue> copy(std::string_view key) {
    return CFPreferencesCopyAppValue(key, kId);
  }
  static void set(std::string_view key, std::optional<CFValue> value) {
    CFPreferencesSetAppValue(key, std::move(value), kId);
  }
  static bool synchronize() { return CFPreferencesAppSynchronize(kId); }

  preferences_contract::Fixture fixture;
};

TEST_F(Preferences, AKeyThatWasNeverSetHasNoValue) { EXPECT_EQ(copy("ClockSource"), std::nullopt); }

TEST_F(Preferences, ASetValueIsSeenAtOnce) {
  set("ClockSource", "1");
  EXPECT_EQ(copy("ClockSource"), CFValue("1"));
}

TEST_F(Preferences, ASetValueIsStoredOnlyByASynchronise) {
  set("ClockSource", "1");
  EXPECT_EQ(fixture.stored(kId), CFDictionary());
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(fixture.stored(kId), (CFDictionary{{"ClockSource", "1"}}));
  EXPECT_EQ(copy("ClockSource"), CFValue("1"));
}

TEST_F(Preferences, ValuesOfEveryKindAreKept) {
  const CFDictionary values{
      {"array", CFArray{1, "two", CFArray{}, CFDictionary{{"inner", false}}}},
      {"data", CFData{0, 1, 254, 255}},
      {"date", CFDate{"2024-01-31T23:59:58Z"}},
      {"dictionary", CFDictionary{{"OrbekUID", CFData{1}}, {"empty", CFDictionary{}}}},
      {"false", false},
      {"integer", -2147483648},
      {"no data", CFData{}},
      {"no text", ""},
      {"real", 0.1},
      {"text", "  <1> & \"2\" \xC3\xA9\n "},
      {"true", true},
  };
  for (const auto& [key, value] : values) set(key, value);
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(fixture.stored(kId), values);
  for (const auto& [key, value] : values) EXPECT_EQ(copy(key), value) << key;
}

TEST_F(Preferences, ADataBlockAndATextOfTheSameBytesStayApart) {
  set("text", "1");
  set("data", CFData{'1'});
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(fixture.stored(kId), (CFDictionary{{"data", CFData{'1'}}, {"text", "1"}}));
}

TEST_F(Preferences, AValueIsReplacedByTheNext) {
  set("ClockSource", "1");
  EXPECT_TRUE(synchronize());
  set("ClockSource", CFData{2});
  EXPECT_EQ(copy("ClockSource"), CFValue(CFData{2}));
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(fixture.stored(kId), (CFDictionary{{"ClockSource", CFData{2}}}));
}

TEST_F(Preferences, ARemovalIsSeenHereAtOnceAndByOthersAfterASynchronise) {
  set("ClockSource", "1");
  EXPECT_TRUE(synchronize());
  set("ClockSource", std::nullopt);
  EXPECT_EQ(copy("ClockSource"), std::nullopt);
  EXPECT_EQ(fixture.stored(kId).size(), 1u);
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(fixture.stored(kId), CFDictionary());
  EXPECT_EQ(copy("ClockSource"), std::nullopt);
}

TEST_F(Preferences, RemovingAMissingKeySucceeds) {
  set("ClockSource", std::nullopt);
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(copy("ClockSource"), std::nullopt);
}

TEST_F(Preferences, IdentifiersShareNothing) {
  set("ClockSource", "1");
  EXPECT_EQ(CFPreferencesCopyAppValue("ClockSource", kOtherId), std::nullopt);
  EXPECT_TRUE(CFPreferencesAppSynchronize(kOtherId));
  EXPECT_EQ(fixture.stored(kId), CFDictionary());
}

TEST_F(Preferences, AValueStoredBeforeTheFirstUseIsSeen) {
  fixture.setElsewhere("ClockSource", "1", kId);
  EXPECT_EQ(copy("ClockSource"), CFValue("1"));
}

TEST_F(Preferences, AValueOfAnotherProcessIsSeenAfterASynchronise) {
  EXPECT_EQ(copy("ClockSource"), std::nullopt);
  fixture.setElsewhere("ClockSource", "1", kId);
  EXPECT_EQ(copy("ClockSource"), std::nullopt);
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(copy("ClockSource"), CFValue("1"));
}

TEST_F(Preferences, ARemovalOfAnotherProcessIsSeenAfterASynchronise) {
  set("ClockSource", "1");
  EXPECT_TRUE(synchronize());
  fixture.setElsewhere("ClockSource", std::nullopt, kId);
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(copy("ClockSource"), std::nullopt);
}

TEST_F(Preferences, WritersOfDifferentKeysLoseNothing) {
  set("Here", "1");
  EXPECT_TRUE(synchronize());
  set("Here", "2");
  fixture.setElsewhere("There", "3", kId);
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(fixture.stored(kId), (CFDictionary{{"Here", "2"}, {"There", "3"}}));
  EXPECT_EQ(copy("There"), CFValue("3"));
}

TEST_F(Preferences, AKeyThatWasNotSetHereIsNotWrittenBack) {
  set("ClockSource", "1");
  EXPECT_TRUE(synchronize());
  fixture.setElsewhere("ClockSource", "2", kId);
  set("Other", "3");
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(copy("ClockSource"), CFValue("2"));
  EXPECT_EQ(fixture.stored(kId), (CFDictionary{{"ClockSource", "2"}, {"Other", "3"}}));
}

TEST_F(Preferences, TheLastSynchroniseOfAKeyWins) {
  set("ClockSource", "1");
  fixture.setElsewhere("ClockSource", "2", kId);
  EXPECT_EQ(copy("ClockSource"), CFValue("1"));
  EXPECT_TRUE(synchronize());
  EXPECT_EQ(fixture.stored(kId), (CFDictionary{{"ClockSource", "1"}}));
}

TEST_F(Preferences, AnUpdateStoresOnlyAtItsEnd) {
  {
    const PreferencesUpdate update(kId);
    set("ClockSource", "1");
    EXPECT_TRUE(synchronize());
    set("DigitalOutMode", "2");
    EXPECT_TRUE(synchronize());
    EXPECT_EQ(copy("ClockSource"), CFValue("1"));
    EXPECT_EQ(fixture.stored(kId), CFDictionary());
  }
  EXPECT_EQ(fixture.stored(kId), (CFDictionary{{"ClockSource", "1"}, {"DigitalOutMode", "2"}}));
}

TEST_F(Preferences, NestedUpdatesStoreAtTheEndOfTheOuter) {
  {
    const PreferencesUpdate outer(kId);
    {
      const PreferencesUpdate inner(kId);
      set("ClockSource", "1");
    }
    EXPECT_EQ(fixture.stored(kId), CFDictionary());
  }
  EXPECT_EQ(fixture.stored(kId), (CFDictionary{{"ClockSource", "1"}}));
}

TEST_F(Preferences, AnUpdateAffectsOnlyItsIdentifier) {
  const PreferencesUpdate update(kId);
  CFPreferencesSetAppValue("ClockSource", CFValue("1"), kOtherId);
  EXPECT_TRUE(CFPreferencesAppSynchronize(kOtherId));
  EXPECT_EQ(fixture.stored(kOtherId), (CFDictionary{{"ClockSource", "1"}}));
}

TEST_F(Preferences, TheApplicationHasAnIdentifier) {
  EXPECT_EQ(CFBundleGetIdentifier(), "com.vantrel.vx310.panel");
}

}  // namespace
