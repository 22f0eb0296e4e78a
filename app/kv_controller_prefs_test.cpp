// SPDX-License-Identifier: MIT
#include "app/testing/controller_test.h"

namespace {

using testing::IsEmpty;

class PanelPreferences : public ControllerTest {
 protected:
  PanelPreferences() { loadQuietly(); }

  static void store(const CFDictionary& values) {
    for (const auto& [key, value] : values) {
      CFPreferencesSetAppValue(key, value, CFBundleGetIdentifier());
    }
    CFPreferencesAppSynchronize(CFBundleGetIdentifier());
  }
};

const CFDictionary kDefaults = {
    {"In12", 0},         {"In34", 1},      {"In56", 2},
    {"Out12", 0},        {"Out34", 1},     {"DigOutFormat", 0},
    {"ClockSource", 0},  {"USB11Mode", 0}, {"AudioPerformance", 0},
    {"Version", "1.00"},
};

CFDictionary otherChoices(CFValue version) {
  return {{"In12", 3},
          {"In34", 3},
          {"In56", 3},
          {"Out12", 3},
          {"Out34", 3},
          {"DigOutFormat", 1},
          {"ClockSource", 1},
          {"USB11Mode", 1},
          {"AudioPerformance", 2},
          {"Version", std::move(version)}};
}

TEST_F(PanelPreferences, AreTheDefaultsOnTheFirstRun) {
  controller->loadPrefs();
  EXPECT_EQ(storedChoices(), kDefaults);
}

TEST_F(PanelPreferences, OfThisVersionAreKept) {
  store(otherChoices("1.00"));
  controller->loadPrefs();
  EXPECT_EQ(storedChoices(), otherChoices("1.00"));
}

TEST_F(PanelPreferences, OfAnyOtherVersionAreReplacedWhole) {
  for (const CFValue& version : {CFValue("1.0"), CFValue("1.000"), CFValue(""), CFValue("1.00 "),
                                 CFValue(1), CFValue(CFData{'1', '.', '0', '0'})}) {
    store(otherChoices(version));
    controller->loadPrefs();
    EXPECT_EQ(storedChoices(), kDefaults);
  }
}

TEST_F(PanelPreferences, OfThisVersionThatLackAKeyAreNotFilledIn) {
  CFDictionary choices = otherChoices("1.00");
  choices.erase("In34");
  store(choices);
  controller->loadPrefs();
  EXPECT_EQ(storedChoices(), choices);
}

TEST_F(PanelPreferences, AreLoadedWithoutTouchingWindowOrDevice) {
  ScriptedInterface interface;
  interface.publish();
  controller->loadPrefs();
  EXPECT_THAT(operations(), IsEmpty());
  EXPECT_THAT(interface.sequence, IsEmpty());
  EXPECT_THAT(memory_audio_server::calls(), IsEmpty());
}

TEST_F(PanelPreferences, AreReplacedInOneGoAndStored) {
  controller->loadPrefs();
  controller->setPrefsDictionaryWithValues(10, 11, 12, 13, 14, 15, 16, 17, -18);
  EXPECT_EQ(storedChoices(), (CFDictionary{{"In12", 10},
                                           {"In34", 11},
                                           {"In56", 12},
                                           {"Out12", 13},
                                           {"Out34", 14},
                                           {"DigOutFormat", 15},
                                           {"ClockSource", 16},
                                           {"AudioPerformance", 17},
                                           {"USB11Mode", -18},
                                           {"Version", "1.00"}}));
}

TEST_F(PanelPreferences, AreSavedAtTheEnd) {
  controller->awakeFromNib();
  controller->applicationDidFinishLaunching();
  controller->KvPrefDictionary.setObject(4, "In12");
  controller->applicationWillTerminate();
  EXPECT_EQ(CFNumberGetValue<int>(storedChoices(), "In12"), 4);
}

TEST_F(PanelPreferences, AreLoadedBeforeTheMenusShowThem) {
  store(otherChoices("1.00"));
  controller->awakeFromNib();
  EXPECT_EQ(control("KvIoRInCh1And2Menu").selectedItem, 3);
  EXPECT_EQ(control("KvSampleClockSourceMenu").selectedItem, 1);
}

TEST_F(PanelPreferences, ThatCannotBeStoredAreNotReported) {
  memory_preferences::failNextSynchronize(3);
  controller->awakeFromNib();
  EXPECT_THAT(storedChoices(), IsEmpty());
  EXPECT_EQ(control("KvIoRInCh5And6Menu").selectedItem, 2);
  controller->savePrefs();
  controller->savePrefs();
  controller->savePrefs();
  EXPECT_EQ(storedChoices(), kDefaults);
}

}  // namespace
