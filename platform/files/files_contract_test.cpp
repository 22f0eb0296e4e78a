// What the files of every back end do. Compiled once against each.
#include "platform/files/files.h"

#include <gtest/gtest.h>

#include "platform/files/files_contract_fixture.h"

namespace {

constexpr const char* kPath = "/System/Library/Extensions/Test.kext/Contents/Info.plist";

class Files : public testing::Test {
 protected:
  files_contract::Fixture fixture;
};

TEST_F(Files, ADictionaryIsReadAsItIs) {
  const CFDictionary dictionary{
      {"VQModuleVersionString", "1.2.3"}, {"Count", 3}, {"Nested", CFDictionary{{"Flag", true}}}};
  fixture.put(kPath, dictionary);
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), dictionary);
}

TEST_F(Files, AMissingFileGivesNothing) {
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), std::nullopt);
}

TEST_F(Files, AnotherPathGivesNothing) {
  fixture.put(kPath, CFDictionary{});
  EXPECT_EQ(dictionaryWithContentsOfFile("/Info.plist"), std::nullopt);
}

TEST_F(Files, AnEmptyDictionaryIsADictionary) {
  fixture.put(kPath, CFDictionary{});
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), CFDictionary{});
}

TEST_F(Files, APropertyListOfAnotherKindGivesNothing) {
  fixture.put(kPath, CFArray{"VQModuleVersionString"});
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), std::nullopt);
}

TEST_F(Files, AChangedFileIsReadAnew) {
  fixture.put(kPath, CFDictionary{{"Count", 1}});
  EXPECT_TRUE(dictionaryWithContentsOfFile(kPath));
  fixture.put(kPath, CFDictionary{{"Count", 2}});
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), (CFDictionary{{"Count", 2}}));
}

}  // namespace
