// SPDX-License-Identifier: MIT
// Preferences without permission, without room on the disk, or locked by another process.
#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "tests/preferences/preferences_test.h"

namespace preferences_test {
namespace {

constexpr uid_t kNobody = 65534;

// Root ignores file permissions, so the test gives them up.
void becomeOrdinary() {
  if (geteuid() != 0) return;
  ASSERT_EQ(setresgid(kNobody, kNobody, kNobody), 0);
  ASSERT_EQ(setresuid(kNobody, kNobody, kNobody), 0);
}

class FaultyDisk : public PreferencesTest {
 protected:
  FaultyDisk() {
    set("old", "value");
    EXPECT_TRUE(synchronize());
    before_ = bytes();
    // The user that becomeOrdinary() changes to must be able to reach the folder.
    for (fs::path above = folder(); above != home_.path().parent_path();
         above = above.parent_path()) {
      chmod(above.c_str(), 0755);
    }
    chmod(path().c_str(), 0644);
    chmod((path().string() + ".lock").c_str(), 0666);
  }
  ~FaultyDisk() override { chmod(folder().c_str(), 0755); }

  // Synchronises fail; the changed value stays visible in this process.
  static void expectChangeOnlyInMemory() {
    set("new", "value");
    EXPECT_FALSE(synchronize());
    EXPECT_FALSE(synchronize());
    EXPECT_EQ(copy("new"), CFValue("value"));
    EXPECT_EQ(copy("old"), CFValue("value"));
  }

  void expectFileAsBefore() const {
    EXPECT_EQ(bytes(), before_);
    EXPECT_EQ(names().size(), 2u) << "the file and its lock";
  }

  std::string before_;
};

TEST_F(FaultyDisk, InAReadOnlyFolderValuesLiveInMemory) {
  chmod(folder().c_str(), 0555);
  runForked([] {
    becomeOrdinary();
    expectChangeOnlyInMemory();
  });
  expectFileAsBefore();
}

TEST_F(FaultyDisk, WithoutPermissionToMakeTheFolderValuesLiveInMemory) {
  chmod(folder().c_str(), 0555);
  setenv("XDG_CONFIG_HOME", (folder() / "missing").c_str(), 1);
  runForked([] {
    becomeOrdinary();
    set("new", "value");
    EXPECT_FALSE(synchronize());
    EXPECT_EQ(copy("new"), CFValue("value"));
  });
}

TEST_F(FaultyDisk, AFileWithoutReadPermissionIsNotOverwritten) {
  chmod(folder().c_str(), 0777);
  chmod(path().c_str(), 0);
  runForked([] {
    becomeOrdinary();
    PreferencesFile file(std::string(getenv("XDG_CONFIG_HOME")) + "/vantrel/preferences",
                         std::string(kId) + ".plist");
    EXPECT_EQ(file.copy("old"), std::nullopt);
    file.set("new", "value");
    EXPECT_FALSE(file.synchronize());
    EXPECT_EQ(file.copy("new"), CFValue("value"));
  });
  chmod(path().c_str(), 0644);
  expectFileAsBefore();
}

TEST_F(FaultyDisk, WhenReadPermissionIsTakenAwayTheValuesStayInMemoryAndTheFileIsNotOverwritten) {
  chmod(folder().c_str(), 0777);
  chmod(path().c_str(), 0);
  runForked([] {
    becomeOrdinary();
    expectChangeOnlyInMemory();
  });
  chmod(path().c_str(), 0644);
  expectFileAsBefore();
}

TEST_F(FaultyDisk, ADamagedFileThatCannotBeKeptAsideIsNotOverwritten) {
  std::ofstream(path()) << "damage";
  chmod(folder().c_str(), 0555);
  runForked([] {
    becomeOrdinary();
    expectChangeOnlyInMemory();
  });
  EXPECT_EQ(bytes(), "damage");
}

// Writes that would make a file larger than `bytes` fail.
void limitFileSize(rlim_t bytes) {
  signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{bytes, RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST_F(FaultyDisk, AWriteThatStopsAtAnyByteLosesNothing) {
  const std::size_t needed = [] {
    const CFDictionary values{{"new", "value"}, {"old", "value"}};
    return writtenPreferences(values)->size();
  }();
  runForked([needed] {
    for (std::size_t room = 0; room < needed; ++room) {
      limitFileSize(room);
      expectChangeOnlyInMemory();
    }
  });
  expectFileAsBefore();
}

TEST_F(FaultyDisk, AValueThatDidNotFitIsStoredOnceThereIsRoom) {
  runForked([] {
    limitFileSize(16);
    set("new", "value");
    EXPECT_FALSE(synchronize());
    limitFileSize(RLIM_INFINITY);
    EXPECT_TRUE(synchronize());
  });
  EXPECT_EQ(stored(), (CFDictionary{{"new", "value"}, {"old", "value"}}));
}

TEST_F(FaultyDisk, ValuesOfADamagedFileAreStoredAgainOnceThereIsRoom) {
  runForked([this] {
    EXPECT_EQ(copy("old"), CFValue("value"));
    std::ofstream(path()) << "damage";
    limitFileSize(16);
    EXPECT_FALSE(synchronize());
    EXPECT_FALSE(synchronize());
    EXPECT_EQ(copy("old"), CFValue("value"));
    limitFileSize(RLIM_INFINITY);
    EXPECT_TRUE(synchronize());
  });
  EXPECT_EQ(bytes(), before_);
}

void writeText(const char* path, const std::string& text) {
  const FileDescriptor file(open(path, O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(write(file.get(), text.data(), text.size()), static_cast<ssize_t>(text.size())) << path;
}

// Gives this process its own mount namespace; false where that is forbidden.
bool makeMountsPrivate() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + user + " 1");
    writeText("/proc/self/gid_map", "0 " + group + " 1");
  }
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// Unlike a file size limit, a full disk also has no room for the lock and the folder entry.
TEST_F(FaultyDisk, OnAFullDiskNothingIsLost) {
  constexpr int kForbidden = 2;
  const pid_t child = startForked([this] {
    if (!makeMountsPrivate() || mount("tmpfs", folder().c_str(), "tmpfs", 0, "size=64k") != 0) {
      _exit(kForbidden);
    }
    set("disk", "small");
    EXPECT_TRUE(synchronize());
    std::ofstream filler(folder() / "filler");
    for (int i = 0; i < 128 && filler.flush(); ++i) filler << std::string(1024, 'x');
    set("new", "value");
    EXPECT_FALSE(synchronize());
    EXPECT_EQ(copy("new"), CFValue("value"));
    EXPECT_TRUE(isStored("disk"));
    EXPECT_FALSE(isStored("new"));
    fs::remove(folder() / "filler");
    filler.close();
    EXPECT_TRUE(synchronize());
    EXPECT_TRUE(isStored("new"));
  });
  const int status = waitForForked(child);
  if (status == kForbidden) GTEST_SKIP() << "this machine forbids mounting a small disk";
  EXPECT_EQ(status, 0);
}

// --- The lock ---

TEST_F(FaultyDisk, TheLockOfADeadProcessIsFree) {
  const pid_t holder = startForked([this] {
    const FileDescriptor held = lockFile(path().string() + ".lock", std::chrono::seconds(0));
    EXPECT_TRUE(held);
    raise(SIGKILL);
  });
  EXPECT_EQ(waitForForked(holder), -SIGKILL);
  set("new", "value");
  EXPECT_TRUE(synchronize());
}

TEST_F(FaultyDisk, AWriterWaitsForTheLock) {
  FileDescriptor held = lockFile(path().string() + ".lock", std::chrono::seconds(0));
  ASSERT_TRUE(held);
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t writer = startForked([&] {
    held.reset();  // only this process's descriptor; the test still holds the lock
    EXPECT_EQ(write(ready[1], "1", 1), 1);
    set("new", "value");
    EXPECT_TRUE(synchronize());
  });
  char byte = 0;
  EXPECT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_FALSE(isStored("new"));
  held.reset();
  EXPECT_EQ(waitForForked(writer), 0);
  EXPECT_TRUE(isStored("new"));
  close(ready[0]);
  close(ready[1]);
}

TEST_F(FaultyDisk, WaitingForTheLockTimesOutAndTheValueIsStoredLater) {
  FileDescriptor held = lockFile(path().string() + ".lock", std::chrono::seconds(0));
  ASSERT_TRUE(held);
  const auto start = std::chrono::steady_clock::now();
  set("new", "value");
  EXPECT_FALSE(synchronize());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  expectFileAsBefore();
  EXPECT_EQ(copy("new"), CFValue("value"));
  held.reset();
  EXPECT_TRUE(synchronize());
  EXPECT_TRUE(isStored("new"));
}

TEST_F(FaultyDisk, ReadingNeedsNoLock) {
  const FileDescriptor held = lockFile(path().string() + ".lock", std::chrono::seconds(0));
  ASSERT_TRUE(held);
  runForked([] {
    EXPECT_EQ(copy("old"), CFValue("value"));
    EXPECT_TRUE(synchronize());
  });
}

}  // namespace
}  // namespace preferences_test
