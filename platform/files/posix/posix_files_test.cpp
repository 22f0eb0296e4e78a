#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/files/files.h"
#include "platform/files/files_contract_fixture.h"

namespace {

namespace fs = std::filesystem;

fs::path root;

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

TEST_F(PosixFiles, AFileThatIsNoPropertyListGivesNothing) {
  write("/Info.plist", "VQModuleVersionString = 1.2.3\n");
  EXPECT_EQ(dictionaryWithContentsOfFile("/Info.plist"), std::nullopt);
}

TEST_F(PosixFiles, AFolderGivesNothing) {
  fs::create_directory(root / "Info.plist");
  EXPECT_EQ(dictionaryWithContentsOfFile("/Info.plist"), std::nullopt);
}

TEST_F(PosixFiles, APipeThatNobodyWritesToGivesNothingAndDoesNotWait) {
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

TEST_F(PosixFiles, AnEmptySystemRootVariableIsNoSystemRoot) {
  write("/Info.plist", plist("<dict/>"));
  setenv("VX310_SYSTEM_ROOT", "", 1);
  EXPECT_EQ(dictionaryWithContentsOfFile((root / "Info.plist").string()), std::nullopt);
}

}  // namespace

namespace files_contract {

Fixture::Fixture() {
  root = fs::temp_directory_path() / "vx310-files-XXXXXX";
  std::string name = root;
  root = mkdtemp(name.data());
  setenv("VX310_SYSTEM_ROOT", root.c_str(), 1);
}

Fixture::~Fixture() {
  unsetenv("VX310_SYSTEM_ROOT");
  fs::remove_all(root);
}

void Fixture::put(const std::string& path, const CFValue& content) {
  write(path, plist(xmlOf(content)));
}

}  // namespace files_contract
