// SPDX-License-Identifier: MIT
// The contract of the files. Compiled against each back end.
#include "platform/files/files.h"

#include <gtest/gtest.h>

#include "platform/files/files_contract_fixture.h"

namespace {

constexpr const char* kPath = "/System/Library/Extensions/Test.kext/Contents/Info.plist";

class Files : public testing::Test {
 protected:
  files_contract::Fixture fixture;
};

TEST_F(Files, ADictionaryIsRead) {
  const CFDictionary dictionary{
      {"VQModuleVersionString", "1.2.3"}, {"Count", 3}, {"Nested", CFDictionary{{"Flag", true}}}};
  fixture.put(kPath, dictionary);
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), dictionary);
}

TEST_F(Files, AMissingFileIsRefused) {
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), std::nullopt);
}

TEST_F(Files, AnotherPathIsRefused) {
  fixture.put(kPath, CFDictionary{});
  EXPECT_EQ(dictionaryWithContentsOfFile("/Info.plist"), std::nullopt);
}

TEST_F(Files, AnEmptyDictionaryIsRead) {
  fixture.put(kPath, CFDictionary{});
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), CFDictionary{});
}

TEST_F(Files, APropertyListOfAnotherTypeIsRefused) {
  fixture.put(kPath, CFArray{"VQModuleVersionString"});
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), std::nullopt);
}

TEST_F(Files, AChangedFileIsReadAgain) {
  fixture.put(kPath, CFDictionary{{"Count", 1}});
  EXPECT_TRUE(dictionaryWithContentsOfFile(kPath));
  fixture.put(kPath, CFDictionary{{"Count", 2}});
  EXPECT_EQ(dictionaryWithContentsOfFile(kPath), (CFDictionary{{"Count", 2}}));
}

FSRef preferencesFolder() {
  FSRef folder;
  EXPECT_EQ(FSFindFolder(kOnSystemDisk, kPreferencesFolderType, false, folder), noErr);
  return folder;
}

FSForkRef opened(const FSRef& file) {
  FSForkRef fork = -1;
  EXPECT_EQ(FSOpenFork(file, "", fsRdPerm, fork), noErr);
  EXPECT_GE(fork, 0);
  return fork;
}

std::string read(FSForkRef fork, std::size_t size, OSStatus expected) {
  std::string bytes(size, '?');
  std::size_t count = size + 1;
  EXPECT_EQ(FSReadFork(fork, bytes, count), expected);
  return bytes.substr(0, count);
}

TEST_F(Files, OnlyThePreferencesFolderOfTheSystemDiskIsFound) {
  FSRef folder{"as before"};
  EXPECT_EQ(FSFindFolder(0, kPreferencesFolderType, false, folder), fnfErr);
  EXPECT_EQ(FSFindFolder(kOnSystemDisk, 0x6d616373, false, folder), fnfErr);
  EXPECT_EQ(folder.path, "as before");
}

TEST_F(Files, AReferenceIsMadeOnlyToAnExistingFile) {
  FSRef file{"as before"};
  EXPECT_EQ(FSMakeFSRefUnicode(preferencesFolder(), "a.xml", file), fnfErr);
  EXPECT_EQ(file.path, "as before");
  fixture.putPreferencesFile("a.xml", "");
  EXPECT_EQ(FSMakeFSRefUnicode(preferencesFolder(), "a.xml", file), noErr);
  EXPECT_NE(file.path, "as before");
}

TEST_F(Files, AnInvalidNameIsRefused) {
  using std::string_view_literals::operator""sv;
  const std::string tooLong(256, 'a');
  for (const std::string_view name :
       {""sv, "."sv, ".."sv, "../a"sv, "a/b"sv, "a\0b"sv, std::string_view(tooLong)}) {
    FSRef file;
    EXPECT_EQ(FSMakeFSRefUnicode(preferencesFolder(), name, file), bdNamErr) << name;
    EXPECT_EQ(FSCreateFileUnicode(preferencesFolder(), name, file), bdNamErr) << name;
  }
}

TEST_F(Files, ANameOf255BytesIsValid) {
  const std::string name(255, 'a');
  FSRef file;
  EXPECT_EQ(FSCreateFileUnicode(preferencesFolder(), name, file), noErr);
  EXPECT_EQ(fixture.preferencesFile(name), "");
}

TEST_F(Files, ACreatedFileIsEmptyAndCanBeOpened) {
  FSRef file;
  EXPECT_EQ(FSCreateFileUnicode(preferencesFolder(), "a.xml", file), noErr);
  EXPECT_EQ(fixture.preferencesFile("a.xml"), "");
  const FSForkRef fork = opened(file);
  EXPECT_EQ(read(fork, 10, eofErr), "");
  EXPECT_EQ(FSCloseFork(fork), noErr);
}

TEST_F(Files, CreatingLeavesAnExistingFileUntouched) {
  fixture.putPreferencesFile("a.xml", "content");
  FSRef file;
  EXPECT_EQ(FSCreateFileUnicode(preferencesFolder(), "a.xml", file), dupFNErr);
  EXPECT_EQ(fixture.preferencesFile("a.xml"), "content");
}

TEST_F(Files, OperationsOnAnEmptyReferenceReturnNotFound) {
  FSRef file;
  FSForkRef fork = -1;
  EXPECT_EQ(FSMakeFSRefUnicode({}, "a.xml", file), fnfErr);
  EXPECT_EQ(FSCreateFileUnicode({}, "a.xml", file), fnfErr);
  EXPECT_EQ(FSOpenFork({}, "", fsRdPerm, fork), fnfErr);
  EXPECT_EQ(fork, -1);
}

TEST_F(Files, TheDataForkHasTheEmptyNameAndIsTheOnlyFork) {
  fixture.putPreferencesFile("a.xml", "content");
  std::string name = "as before";
  EXPECT_EQ(FSGetDataForkName(name), noErr);
  EXPECT_EQ(name, "");
  FSRef file;
  FSForkRef fork = -1;
  ASSERT_EQ(FSMakeFSRefUnicode(preferencesFolder(), "a.xml", file), noErr);
  EXPECT_EQ(FSOpenFork(file, "RESOURCE_FORK", fsRdPerm, fork), errFSForkNotFound);
}

TEST_F(Files, AReadContinuesAfterTheLastRead) {
  fixture.putPreferencesFile("a.xml", std::string("abc\0def", 7));
  FSRef file;
  ASSERT_EQ(FSMakeFSRefUnicode(preferencesFolder(), "a.xml", file), noErr);
  const FSForkRef first = opened(file);
  const FSForkRef second = opened(file);
  EXPECT_NE(first, second);
  EXPECT_EQ(read(first, 4, noErr), std::string("abc\0", 4));
  EXPECT_EQ(read(second, 2, noErr), "ab");
  EXPECT_EQ(read(first, 4, eofErr), "def");
  EXPECT_EQ(read(first, 4, eofErr), "");
  EXPECT_EQ(FSCloseFork(first), noErr);
  EXPECT_EQ(FSCloseFork(second), noErr);
}

TEST_F(Files, AClosedForkIsRefused) {
  fixture.putPreferencesFile("a.xml", "content");
  FSRef file;
  ASSERT_EQ(FSMakeFSRefUnicode(preferencesFolder(), "a.xml", file), noErr);
  const FSForkRef fork = opened(file);
  EXPECT_EQ(FSCloseFork(fork), noErr);
  EXPECT_EQ(read(fork, 10, ioErr), "");
  EXPECT_EQ(FSCloseFork(fork), ioErr);
}

}  // namespace
