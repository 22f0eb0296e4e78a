// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "platform/files/files.h"
#include "platform/files/files_contract_fixture.h"

namespace {

namespace fs = std::filesystem;

fs::path root;
const std::string kPreferences = "/config/vantrel/preferences/";

std::string xmlOf(const CFValue& value) {
  if (const auto* flag = value.as<bool>()) return *flag ? "<true/>" : "<false/>";
  if (const auto* number = value.as<std::int64_t>()) {
    return "<integer>" + std::to_string(*number) + "</integer>";
  }
  if (const auto* text = value.as<std::string>()) return "<string>" + *text + "</string>";
  std::string items;
  if (const auto* array = value.as<CFArray>()) {
    for (const CFValue& item : *array) items += xmlOf(item);
    return "<array>" + items + "</array>";
  }
  for (const auto& [key, item] : *value.as<CFDictionary>()) {
    items += "<key>" + key + "</key>" + xmlOf(item);
  }
  return "<dict>" + items + "</dict>";
}

void write(const std::string& path, const std::string& bytes) {
  const fs::path place = root.string() + path;
  fs::create_directories(place.parent_path());
  std::ofstream(place, std::ios::binary) << bytes;
}

std::string plist(const std::string& content) {
  return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + content + "</plist>\n";
}

class PosixFiles : public testing::Test {
 protected:
  files_contract::Fixture fixture;
};

TEST_F(PosixFiles, AFileThatIsNoPropertyListIsRefused) {
  write("/Info.plist", "VQModuleVersionString = 1.2.3\n");
  EXPECT_EQ(dictionaryWithContentsOfFile("/Info.plist"), std::nullopt);
}

TEST_F(PosixFiles, AFolderInPlaceOfAPropertyListIsRefused) {
  fs::create_directory(root / "Info.plist");
  EXPECT_EQ(dictionaryWithContentsOfFile("/Info.plist"), std::nullopt);
}

TEST_F(PosixFiles, APipeWithoutAWriterIsRefusedWithoutWaiting) {
  ASSERT_EQ(mkfifo((root / "Info.plist").c_str(), 0600), 0);
  EXPECT_EQ(dictionaryWithContentsOfFile("/Info.plist"), std::nullopt);
}

TEST_F(PosixFiles, AFileOf16MiBIsReadAndALargerOneIsNot) {
  constexpr std::size_t kLimit = 16 << 20;
  const std::string list = plist("<dict/>");
  write("/Info.plist", list + std::string(kLimit - list.size(), '\n'));
  EXPECT_TRUE(dictionaryWithContentsOfFile("/Info.plist"));
  write("/Info.plist", list + std::string(kLimit + 1 - list.size(), '\n'));
  EXPECT_FALSE(dictionaryWithContentsOfFile("/Info.plist"));
}

TEST_F(PosixFiles, AnEmptySystemRootVariableIsIgnored) {
  write("/Info.plist", plist("<dict/>"));
  setenv("VX310_SYSTEM_ROOT", "", 1);
  EXPECT_EQ(dictionaryWithContentsOfFile((root / "Info.plist").string()), std::nullopt);
}

TEST_F(PosixFiles, WithoutTheVariableTheSystemRootIsBesideThePrograms) {
  unsetenv("VX310_SYSTEM_ROOT");
  const fs::path installed = fs::read_symlink("/proc/self/exe").parent_path().parent_path() /
                             "share/vx310-panel/system-root";
  const fs::path own = installed / ("test-" + std::to_string(getpid()));
  fs::create_directories(own);
  std::ofstream(own / "Info.plist") << plist("<dict/>");
  EXPECT_TRUE(dictionaryWithContentsOfFile("/" + own.filename().string() + "/Info.plist"));
  fs::remove_all(own);
}

FSRef preferences() {
  FSRef folder;
  EXPECT_EQ(FSFindFolder(kOnSystemDisk, kPreferencesFolderType, false, folder), noErr);
  return folder;
}

TEST_F(PosixFiles, ARelativeXdgConfigHomeIsIgnoredForTheHomeFolder) {
  const char* home = std::getenv("HOME");
  const std::string before = home ? home : "";
  setenv("XDG_CONFIG_HOME", "relative", 1);
  setenv("HOME", root.c_str(), 1);
  EXPECT_EQ(preferences().path, root.string() + "/.config/vantrel/preferences");
  unsetenv("HOME");
  FSRef folder;
  EXPECT_EQ(FSFindFolder(kOnSystemDisk, kPreferencesFolderType, false, folder), fnfErr);
  if (home) setenv("HOME", before.c_str(), 1);
}

TEST_F(PosixFiles, FSFindFolderMakesThePreferencesFolderOnlyWhenAsked) {
  EXPECT_FALSE(fs::exists(preferences().path));
  FSRef folder;
  EXPECT_EQ(FSFindFolder(kOnSystemDisk, kPreferencesFolderType, true, folder), noErr);
  EXPECT_TRUE(fs::is_directory(folder.path));
  EXPECT_EQ(fs::status(folder.path).permissions(), fs::perms::owner_all);
}

TEST_F(PosixFiles, AFolderOrAPipeIsNotOpenedAsAFork) {
  fs::create_directories(root.string() + kPreferences + "folder");
  ASSERT_EQ(mkfifo((root.string() + kPreferences + "pipe").c_str(), 0600), 0);
  for (const char* name : {"folder", "pipe"}) {
    for (const std::int8_t permission : {fsRdPerm, fsRdWrPerm}) {
      FSRef file;
      FSForkRef fork = -1;
      EXPECT_EQ(FSMakeFSRefUnicode(preferences(), name, file), noErr);
      EXPECT_EQ(FSOpenFork(file, "", permission, fork), ioErr) << name;
      EXPECT_EQ(fork, -1);
    }
  }
}

TEST_F(PosixFiles, AForkIsOpenForWritingOnlyWithThatPermission) {
  fixture.putPreferencesFile("a", "1");
  for (const auto& [permission, access] : {std::pair(fsRdPerm, O_RDONLY), {fsRdWrPerm, O_RDWR}}) {
    FSRef file;
    FSForkRef fork = -1;
    ASSERT_EQ(FSMakeFSRefUnicode(preferences(), "a", file), noErr);
    ASSERT_EQ(FSOpenFork(file, "", permission, fork), noErr);
    EXPECT_EQ(fcntl(fork, F_GETFL) & O_ACCMODE, access);
    FSCloseFork(fork);
  }
}

TEST_F(PosixFiles, ClosingAForkClosesItsDescriptor) {
  fixture.putPreferencesFile("a", "1");
  FSRef file;
  FSForkRef fork = -1;
  ASSERT_EQ(FSMakeFSRefUnicode(preferences(), "a", file), noErr);
  ASSERT_EQ(FSOpenFork(file, "", fsRdPerm, fork), noErr);
  EXPECT_EQ(FSCloseFork(fork), noErr);
  EXPECT_EQ(fcntl(fork, F_GETFD), -1);
}

TEST_F(PosixFiles, ADanglingLinkIsNotFoundAndNotReplacedByAFile) {
  fs::create_directories(root.string() + kPreferences);
  fs::create_symlink("nothing", root.string() + kPreferences + "link");
  FSRef file;
  EXPECT_EQ(FSMakeFSRefUnicode(preferences(), "link", file), fnfErr);
  EXPECT_EQ(FSCreateFileUnicode(preferences(), "link", file), dupFNErr);
}

}  // namespace

namespace files_contract {

Fixture::Fixture() {
  root = fs::temp_directory_path() / "vx310-files-XXXXXX";
  std::string name = root;
  root = mkdtemp(name.data());
  setenv("VX310_SYSTEM_ROOT", root.c_str(), 1);
  setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
}

Fixture::~Fixture() {
  unsetenv("XDG_CONFIG_HOME");
  unsetenv("VX310_SYSTEM_ROOT");
  fs::remove_all(root);
}

void Fixture::put(const std::string& path, const CFValue& content) {
  write(path, plist(xmlOf(content)));
}

void Fixture::putPreferencesFile(const std::string& name, const std::string& bytes) {
  write(kPreferences + name, bytes);
}

std::optional<std::string> Fixture::preferencesFile(const std::string& name) {
  std::ifstream file(root.string() + kPreferences + name, std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace files_contract
