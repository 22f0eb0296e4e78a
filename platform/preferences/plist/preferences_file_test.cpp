// SPDX-License-Identifier: MIT
// Property-list files of preferences: their folder, when they are written, and damaged files.
#include "platform/preferences/plist/preferences_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "platform/log/memory/memory_log.h"
#include "platform/preferences/preferences.h"
#include "platform/property_list/property_list.h"
#include "tests/support/temporary_directory.h"

namespace {

std::chrono::seconds clockIsAhead{0};

}  // namespace

// Takes the place of the C library's function for the whole program, so that a test can let time
// pass.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
  if (clock == CLOCK_MONOTONIC) time->tv_sec += clockIsAhead.count();
  return result;
}

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kName = "com.vantrel.test.hal.plist";

class PreferencesFileTest : public testing::Test {
 protected:
  PreferencesFileTest() {
    fs::create_directory(folder());
    memory_log::reset();
  }

  fs::path folder() const { return home_.path() / "preferences"; }
  fs::path path() const { return folder() / kName; }
  fs::path damaged(int number = 1) const {
    return path().string() + ".damaged-" + std::to_string(number);
  }

  static void write(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  static std::string read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  std::optional<CFDictionary> stored() const { return parsePreferences(read(path())); }

  std::set<std::string> names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) {
      names.insert(entry.path().filename());
    }
    return names;
  }

  PreferencesFile open() const { return PreferencesFile(folder(), kName); }

  test_support::TemporaryDirectory home_;
};

// --- The folder ---

TEST_F(PreferencesFileTest, TheFileIsBelowXdgConfigHome) {
  setenv("XDG_CONFIG_HOME", home_.path().c_str(), 1);
  CFPreferencesSetAppValue("key", CFValue("value"), "com.vantrel.test");
  EXPECT_TRUE(CFPreferencesAppSynchronize("com.vantrel.test"));
  EXPECT_EQ(parsePreferences(read(home_.path() / "vantrel/preferences/com.vantrel.test.plist")),
            (CFDictionary{{"key", "value"}}));
}

TEST_F(PreferencesFileTest, WithAnEmptyOrRelativeXdgConfigHomeTheFileIsBelowTheHomeFolder) {
  setenv("HOME", home_.path().c_str(), 1);
  const fs::path file = home_.path() / ".config/vantrel/preferences/com.vantrel.test.plist";
  for (const char* configuration : {"", "relative/folder"}) {
    setenv("XDG_CONFIG_HOME", configuration, 1);
    CFPreferencesSetAppValue("key", CFValue(configuration), "com.vantrel.test");
    EXPECT_TRUE(CFPreferencesAppSynchronize("com.vantrel.test"));
    EXPECT_EQ(parsePreferences(read(file)), (CFDictionary{{"key", configuration}}));
  }
}

TEST_F(PreferencesFileTest, WithoutAHomeFolderValuesLiveInMemory) {
  unsetenv("XDG_CONFIG_HOME");
  unsetenv("HOME");
  CFPreferencesSetAppValue("key", CFValue("value"), "com.vantrel.test");
  EXPECT_FALSE(CFPreferencesAppSynchronize("com.vantrel.test"));
  EXPECT_EQ(CFPreferencesCopyAppValue("key", "com.vantrel.test"), CFValue("value"));
}

TEST_F(PreferencesFileTest, AnIdentifierWithASlashWritesNoFile) {
  setenv("XDG_CONFIG_HOME", home_.path().c_str(), 1);
  CFPreferencesSetAppValue("key", CFValue("value"), "../../outside");
  EXPECT_FALSE(CFPreferencesAppSynchronize("../../outside"));
  EXPECT_FALSE(fs::exists(home_.path() / "outside.plist"));
}

TEST_F(PreferencesFileTest, MissingFoldersAreMadeForThisUserAlone) {
  PreferencesFile file(folder() / "a/b", kName);
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(fs::status(folder() / "a").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(folder() / "a/b").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(folder() / "a/b" / kName).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(PreferencesFileTest, ASynchroniseLeavesOnlyTheFileAndItsLock) {
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_THAT(names(), ElementsAre(kName, std::string(kName) + ".lock"));
}

TEST_F(PreferencesFileTest, AHalfWrittenFileOfAKilledProcessIsReplaced) {
  write(path().string() + ".new", "<?xml ");
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_THAT(names(), ElementsAre(kName, std::string(kName) + ".lock"));
}

// --- When the file is written ---

TEST_F(PreferencesFileTest, ReadingMakesNoFile) {
  PreferencesFile file = open();
  EXPECT_EQ(file.copy("key"), std::nullopt);
  EXPECT_TRUE(file.synchronize());
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(PreferencesFileTest, ReadingMakesNoFolder) {
  PreferencesFile file(folder() / "missing", kName);
  EXPECT_EQ(file.copy("key"), std::nullopt);
  EXPECT_TRUE(file.synchronize());
  EXPECT_THAT(names(), IsEmpty());
}

ino_t numberOf(const fs::path& path) {
  struct stat status = {};
  stat(path.c_str(), &status);
  return status.st_ino;
}

TEST_F(PreferencesFileTest, TheFileIsWrittenOnlyWhenAValueChanges) {
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  const ino_t before = numberOf(path());
  EXPECT_TRUE(file.synchronize());
  file.set("key", "value");
  file.set("missing", std::nullopt);
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(numberOf(path()), before);
  file.set("key", "other");
  EXPECT_TRUE(file.synchronize());
  EXPECT_NE(numberOf(path()), before);
}

TEST_F(PreferencesFileTest, DatesAndUidsThatAnotherToolWroteAreKept) {
  write(path(),
        "<plist version=\"1.0\"><dict><key>when</key><date>2024-01-31T23:59:58Z</date>"
        "<key>which</key><dict><key>CF$UID</key><integer>5</integer></dict></dict></plist>");
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(stored(), (CFDictionary{{"key", "value"},
                                    {"when", CFDate{"2024-01-31T23:59:58Z"}},
                                    {"which", CFDictionary{{"CF$UID", 5}}}}));
}

TEST_F(PreferencesFileTest, AnOverwrittenFileIsReadAgain) {
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  write(path(), *writtenPreferences(CFDictionary{{"key", "longer value"}}));
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(file.copy("key"), CFValue("longer value"));
}

TEST_F(PreferencesFileTest, ADeletedFileHasNoValuesAndTheNextSynchroniseMakesItAgain) {
  PreferencesFile file = open();
  file.set("old", "value");
  EXPECT_TRUE(file.synchronize());
  fs::remove(path());
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(file.copy("old"), std::nullopt);
  file.set("new", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(stored(), (CFDictionary{{"new", "value"}}));
}

TEST_F(PreferencesFileTest, AKeyThatXmlForbidsIsReplacedTheSameBeforeAndAfterASynchronise) {
  PreferencesFile file = open();
  file.set("a\xFF", "1");
  file.set("a\xFE", "2");
  EXPECT_EQ(file.copy("a\xFF"), CFValue("2"));
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(open().copy("a\xFF"), CFValue("2"));
  EXPECT_EQ(stored()->size(), 1u);
}

// --- A lock that another process keeps ---

FileDescriptor lockOf(const fs::path& path) {
  return lockFile(path.string() + ".lock", std::chrono::seconds(0));
}

template <typename Work>
std::chrono::nanoseconds timeOf(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::steady_clock::now() - start;
}

TEST_F(PreferencesFileTest, ALockIsWaitedForOnceAndThenTriedWithoutAWait) {
  PreferencesFile file = open();
  PreferencesFile other(folder(), "com.vantrel.test.other.plist");
  FileDescriptor lock = lockOf(path());
  const FileDescriptor otherLock = lockOf(folder() / "com.vantrel.test.other.plist");
  file.set("key", "value");
  other.set("key", "value");
  const auto first = timeOf([&] { EXPECT_FALSE(file.synchronize()); });
  const auto next = timeOf([&] {
    for (int i = 0; i < 5; ++i) {
      EXPECT_FALSE(file.synchronize());
      EXPECT_FALSE(other.synchronize());
    }
  });
  EXPECT_GE(first, std::chrono::milliseconds(500));
  EXPECT_LT(next, first);
  EXPECT_EQ(stored(), std::nullopt);
  lock.reset();
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(stored(), (CFDictionary{{"key", "value"}}));
}

TEST_F(PreferencesFileTest, ALockIsWaitedForAgainFiveSecondsLater) {
  constexpr std::chrono::milliseconds kWait{500};
  PreferencesFile file = open();
  const FileDescriptor lock = lockOf(path());
  file.set("key", "value");
  const auto synchronize = [&] { EXPECT_FALSE(file.synchronize()); };
  clockIsAhead += std::chrono::seconds(5);  // also after another test of this program
  const auto first = timeOf(synchronize);
  EXPECT_GE(first, kWait);
  EXPECT_LT(timeOf(synchronize), first);
  clockIsAhead += std::chrono::seconds(5);
  EXPECT_GE(timeOf(synchronize), kWait);
}

TEST_F(PreferencesFileTest, ARetryStoresWhatTheLockKeptFromTheFile) {
  PreferencesFile file = open();
  FileDescriptor lock = lockOf(path());
  file.set("key", "value");
  EXPECT_FALSE(file.synchronize());
  lock.reset();
  file.retry();
  EXPECT_EQ(stored(), (CFDictionary{{"key", "value"}}));
}

TEST_F(PreferencesFileTest, ARetryStoresNothingThatWasNeverSynchronised) {
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  file.set("key", "other");
  file.retry();
  EXPECT_EQ(stored(), (CFDictionary{{"key", "value"}}));
}

// --- Damaged and unreadable files ---

TEST_F(PreferencesFileTest, AFileThatIsNoPropertyListIsKeptAsideAndLoggedOnce) {
  write(path(), "not a property list");
  PreferencesFile file = open();
  EXPECT_EQ(file.copy("key"), std::nullopt);
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(read(damaged()), "not a property list");
  EXPECT_EQ(stored(), (CFDictionary{{"key", "value"}}));
  const auto lines = memory_log::lines();
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].priority, platform::LogPriority::kWarning);
  EXPECT_THAT(lines[0].text, HasSubstr(path().string()));
  EXPECT_THAT(lines[0].text, HasSubstr(damaged().string()));
}

TEST_F(PreferencesFileTest, EveryDamagedFileIsKeptUnderItsOwnNumber) {
  for (int number = 1; number <= 3; ++number) {
    write(path(), "damage " + std::to_string(number));
    EXPECT_EQ(open().copy("key"), std::nullopt);
  }
  for (int number = 1; number <= 3; ++number) {
    EXPECT_EQ(read(damaged(number)), "damage " + std::to_string(number));
  }
}

TEST_F(PreferencesFileTest, WhenAFileThatWasReadIsDamagedLaterItsValuesAreWrittenAgain) {
  PreferencesFile file = open();
  file.set("old", "value");
  EXPECT_TRUE(file.synchronize());
  write(path(), "damage 1");
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(read(damaged(1)), "damage 1");
  EXPECT_EQ(stored(), (CFDictionary{{"old", "value"}}));
  write(path(), "damage 2");
  file.set("new", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(read(damaged(2)), "damage 2");
  EXPECT_EQ(stored(), (CFDictionary{{"new", "value"}, {"old", "value"}}));
  EXPECT_EQ(file.copy("old"), CFValue("value"));
}

TEST_F(PreferencesFileTest, ATruncatedFileIsParsedCompletelyOrKeptAside) {
  const std::string whole = *writtenPreferences(CFDictionary{
      {"data", CFData{1, 2, 3}}, {"list", CFArray{1, true, CFDictionary{}}}, {"text", "a&b"}});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string cut = whole.substr(0, size);
    write(path(), cut);
    PreferencesFile file = open();
    const bool isComplete = file.copy("text").has_value();
    file.set("new", "value");
    EXPECT_TRUE(file.synchronize()) << size;
    EXPECT_EQ(stored()->size(), isComplete ? 4u : 1u) << size;
    EXPECT_EQ(fs::exists(damaged()), !isComplete) << size;
    EXPECT_EQ(read(damaged()), isComplete ? "" : cut) << size;
    fs::remove(damaged());
  }
}

TEST_F(PreferencesFileTest, APropertyListThatIsNoDictionaryIsKeptAside) {
  for (const CFValue& content : {CFValue(CFArray{1}), CFValue("text"), CFValue(true), CFValue(5)}) {
    const std::string bytes = *xmlPropertyList(content);
    write(path(), bytes);
    PreferencesFile file = open();
    file.set("key", "value");
    EXPECT_TRUE(file.synchronize());
    EXPECT_EQ(read(damaged()), bytes);
    fs::remove(damaged());
  }
}

TEST_F(PreferencesFileTest, AFileNestedTooDeepIsKeptAside) {
  std::string bytes = "<plist version=\"1.0\"><dict><key>deep</key>";
  for (int level = 0; level < 100'000; ++level) bytes += "<array>";
  for (int level = 0; level < 100'000; ++level) bytes += "</array>";
  bytes += "</dict></plist>";
  write(path(), bytes);
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(read(damaged()), bytes);
}

TEST_F(PreferencesFileTest, ValuesThatTheParserWouldRefuseAreNotWritten) {
  PreferencesFile file = open();
  file.set("old", "value");
  EXPECT_TRUE(file.synchronize());
  file.set("list", CFArray(kMostPropertyListObjects, CFArray{}));
  EXPECT_FALSE(file.synchronize());
  EXPECT_EQ(stored(), (CFDictionary{{"old", "value"}}));
  file.set("list", std::nullopt);
  EXPECT_TRUE(file.synchronize());
}

TEST_F(PreferencesFileTest, AFolderOrAPipeInPlaceOfTheFileIsLeftAlone) {
  for (const bool isPipe : {false, true}) {
    if (isPipe) {
      ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    } else {
      ASSERT_TRUE(fs::create_directory(path()));
    }
    PreferencesFile file = open();
    EXPECT_EQ(file.copy("key"), std::nullopt);
    file.set("key", "value");
    EXPECT_FALSE(file.synchronize());
    EXPECT_EQ(file.copy("key"), CFValue("value"));
    EXPECT_TRUE(isPipe ? fs::is_fifo(path()) : fs::is_directory(path()));
    fs::remove(path());
    EXPECT_TRUE(file.synchronize());
    EXPECT_EQ(stored(), (CFDictionary{{"key", "value"}}));
    fs::remove(path());
  }
}

TEST_F(PreferencesFileTest, AFileAboveTheSizeLimitIsKeptAsideAndLoggedOnce) {
  EXPECT_EQ(kLargestPreferences, 1u << 20);
  const CFDictionary values{{"text", std::string(kLargestPreferences, 'x')}};
  write(path(), *xmlPropertyList(values));
  const auto size = fs::file_size(path());
  PreferencesFile file = open();
  EXPECT_EQ(file.copy("text"), std::nullopt);
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(fs::file_size(damaged()), size);
  EXPECT_EQ(stored(), (CFDictionary{{"key", "value"}}));
  ASSERT_THAT(memory_log::lines(), SizeIs(1));
  EXPECT_THAT(memory_log::lines()[0].text, HasSubstr("is too large; it is kept as"));
}

TEST_F(PreferencesFileTest, AFileOfTheLargestSizeIsRead) {
  const std::string rest = *xmlPropertyList(CFDictionary{{"text", ""}});
  const std::string text(kLargestPreferences - rest.size() - 100, 'x');
  write(path(), *xmlPropertyList(CFDictionary{{"text", text}}));
  EXPECT_EQ(open().copy("text"), CFValue(text));
}

// --- Symbolic links ---

TEST_F(PreferencesFileTest, TheFileBehindALinkIsReplacedAndTheLinkStays) {
  for (const fs::path& target : {home_.path() / "elsewhere/file", fs::path("../elsewhere/file")}) {
    fs::create_directories(home_.path() / "elsewhere");
    const fs::path real = home_.path() / "elsewhere/file";
    for (const bool isThere : {false, true}) {
      if (isThere) write(real, *writtenPreferences(CFDictionary{{"old", "value"}}));
      fs::create_symlink(target, path());
      PreferencesFile file = open();
      file.set("key", "value");
      EXPECT_TRUE(file.synchronize());
      EXPECT_TRUE(fs::is_symlink(path()));
      EXPECT_FALSE(fs::is_symlink(real));
      EXPECT_EQ(stored()->size(), isThere ? 2u : 1u);
      EXPECT_EQ(read(real), read(path()));
      file.set("key", "other");
      EXPECT_TRUE(file.synchronize());
      EXPECT_EQ(open().copy("key"), CFValue("other"));
      fs::remove(path());
      fs::remove(real);
    }
  }
}

TEST_F(PreferencesFileTest, ADamagedFileBehindALinkIsKeptBesideItself) {
  const fs::path real = home_.path() / "real";
  write(real, "damage");
  fs::create_symlink(real, path());
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_TRUE(file.synchronize());
  EXPECT_EQ(read(real.string() + ".damaged-1"), "damage");
  EXPECT_TRUE(fs::is_symlink(path()));
  EXPECT_EQ(stored(), (CFDictionary{{"key", "value"}}));
}

TEST_F(PreferencesFileTest, ALinkToItselfIsLeftAlone) {
  fs::create_symlink(path(), path());
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_FALSE(file.synchronize());
  EXPECT_TRUE(fs::is_symlink(path()));
}

TEST_F(PreferencesFileTest, AFailureIsLoggedOnceUntilASynchroniseSucceeds) {
  fs::create_directory(path());
  PreferencesFile file = open();
  file.set("key", "value");
  EXPECT_FALSE(file.synchronize());
  EXPECT_FALSE(file.synchronize());
  EXPECT_THAT(memory_log::lines(), SizeIs(1));
  fs::remove(path());
  EXPECT_TRUE(file.synchronize());
  fs::remove(path());
  fs::create_directory(path());
  EXPECT_FALSE(file.synchronize());
  EXPECT_THAT(memory_log::lines(), SizeIs(2));
}

}  // namespace
