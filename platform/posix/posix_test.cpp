// SPDX-License-Identifier: MIT
#include "platform/posix/posix.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <vector>

#include "tests/support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;

FileDescriptor openToRead(const fs::path& path) {
  return FileDescriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
}

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

TEST(FileDescriptor, ClosesItsFileWhenItEndsOrTakesAnother) {
  FileDescriptor first = openToRead("/");
  const int number = first.get();
  {
    FileDescriptor second = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_EQ(second.get(), number);
    EXPECT_TRUE(isOpen(number));
    second = FileDescriptor();
    EXPECT_FALSE(isOpen(number));
    second = openToRead("/");
    EXPECT_EQ(second.get(), number);
  }
  EXPECT_FALSE(isOpen(number));
}

TEST(PreferencesFolder, LiesBelowAnAbsoluteConfigurationFolderOrElseBelowTheHomeFolder) {
  setenv("HOME", "/home/user", 1);
  setenv("XDG_CONFIG_HOME", "/configuration", 1);
  EXPECT_EQ(preferencesFolder(), "/configuration/vantrel/preferences");
  for (const char* notAbsolute : {"", "relative"}) {
    setenv("XDG_CONFIG_HOME", notAbsolute, 1);
    EXPECT_EQ(preferencesFolder(), "/home/user/.config/vantrel/preferences");
  }
  unsetenv("XDG_CONFIG_HOME");
  setenv("HOME", "relative", 1);
  EXPECT_EQ(preferencesFolder(), "");
  unsetenv("HOME");
  EXPECT_EQ(preferencesFolder(), "");
}

class ReplacedFile : public testing::Test {
 protected:
  std::string path() const { return (folder_.path() / "file").string(); }
  std::string newPath() const { return path() + ".new"; }
  std::string content() const {
    const auto bytes = readWhole(openToRead(path()), 100);
    return bytes.value_or("nothing");
  }
  mode_t mode() const {
    struct stat status {};
    stat(path().c_str(), &status);
    return status.st_mode & 07777;
  }

  test_support::TemporaryDirectory folder_;
};

TEST_F(ReplacedFile, HasTheBytesAndIsOpen) {
  EXPECT_TRUE(replaceFile(path(), newPath(), "first", std::nullopt));
  const FileDescriptor file = replaceFile(path(), newPath(), "second", std::nullopt);
  EXPECT_EQ(content(), "second");
  EXPECT_EQ(lseek(file.get(), 0, SEEK_END), 6);
  EXPECT_FALSE(fs::exists(newPath()));
}

TEST_F(ReplacedFile, KeepsTheModeUnlessAnotherIsGiven) {
  const mode_t before = umask(027);
  replaceFile(path(), newPath(), "", std::nullopt);
  EXPECT_EQ(mode(), 0640u);
  replaceFile(path(), newPath(), "", 0622);
  EXPECT_EQ(mode(), 0622u);
  replaceFile(path(), newPath(), "", std::nullopt);
  EXPECT_EQ(mode(), 0622u);
  umask(before);
}

TEST_F(ReplacedFile, IsNotWrittenThroughWhatIsInTheNewFilesPlace) {
  const std::string other = (folder_.path() / "other").string();
  fs::create_symlink(other, newPath());
  EXPECT_TRUE(replaceFile(path(), newPath(), "bytes", std::nullopt));
  EXPECT_EQ(content(), "bytes");
  EXPECT_FALSE(fs::exists(other));
}

TEST_F(ReplacedFile, IsAsBeforeAfterAFailureWhichLeavesNothing) {
  fs::create_directory(path());
  EXPECT_FALSE(replaceFile(path(), newPath(), "bytes", std::nullopt));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_TRUE(fs::is_directory(path()));
  EXPECT_FALSE(fs::exists(newPath()));
  EXPECT_FALSE(replaceFile(path(), "/proc/none", "bytes", std::nullopt));
}

class Folders : public testing::Test {
 protected:
  test_support::TemporaryDirectory home_;
};

TEST_F(Folders, AreMadeWithTheirMissingParentsForThisUserAlone) {
  const fs::path folder = home_.path() / "a/b/c";
  EXPECT_TRUE(makeFolder(folder));
  EXPECT_TRUE(makeFolder(folder));
  for (const fs::path& made : {folder, folder.parent_path(), folder.parent_path().parent_path()}) {
    EXPECT_EQ(fs::status(made).permissions(), fs::perms::owner_all);
  }
}

TEST_F(Folders, AreNotMadeBelowAFile) {
  EXPECT_FALSE(makeFolder(home_.write("file", "") / "a/b"));
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_FALSE(makeFolder(""));
}

TEST_F(Folders, ThatDoNotExistCannotBeSynced) {
  EXPECT_TRUE(syncFolder(home_.path()));
  EXPECT_FALSE(syncFolder(home_.path() / "missing"));
  EXPECT_FALSE(syncFolder(home_.write("file", "")));
}

using Files = Folders;

TEST_F(Files, AreReadWholeUpToTheLimit) {
  for (const std::string& bytes : {std::string(), std::string("\0a", 2), std::string(99999, 'x')}) {
    const FileDescriptor file = openToRead(home_.write("file", bytes));
    EXPECT_EQ(readWhole(file, bytes.size()), bytes);
    if (bytes.empty()) continue;
    EXPECT_EQ(readWhole(openToRead(home_.path() / "file"), bytes.size() - 1), std::nullopt);
    EXPECT_EQ(errno, EFBIG);
  }
}

// A file in /proc has size 0 until it is read.
TEST_F(Files, OfUnknownSizeAreReadWhole) {
  const FileDescriptor file = openToRead("/proc/self/status");
  struct stat status;
  ASSERT_EQ(fstat(file.get(), &status), 0);
  ASSERT_EQ(status.st_size, 0);
  EXPECT_GT(readWhole(file, 1 << 20).value_or("").size(), 100u);
  EXPECT_EQ(readWhole(openToRead("/proc/self/status"), 100), std::nullopt);
}

TEST_F(Files, OfAnotherKindAreNotRead) {
  ASSERT_EQ(mkfifo((home_.path() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(readWhole(openToRead(home_.path() / "pipe"), 100), std::nullopt);
  EXPECT_EQ(readWhole(openToRead(home_.path()), 100), std::nullopt);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(readWhole(FileDescriptor(), 100), std::nullopt);
}

// --- Standard descriptors ---

// Closes some of the standard descriptors; all are as before at its end.
class Closed {
 public:
  explicit Closed(std::initializer_list<int> numbers) {
    for (int number = 0; number <= 2; ++number) former_.emplace_back(dup(number));
    for (const int number : numbers) close(number);
  }
  ~Closed() {
    for (int number = 0; number <= 2; ++number) {
      dup2(former_[static_cast<std::size_t>(number)].get(), number);
    }
  }

 private:
  std::vector<FileDescriptor> former_;
};

TEST(StandardDescriptors, ThoseThatAreClosedAreOpenedSoThatTheyStillFail) {
  std::array<bool, 3> areOpen{};
  std::array<int, 3> errors{};
  int next = 0;
  {
    const Closed closed({0, 1, 2});
    openStandardDescriptors();
    for (const int number : {0, 1, 2}) {
      const auto index = static_cast<std::size_t>(number);
      areOpen[index] = isOpen(number);
      char byte = 0;
      if ((number == 0 ? read(number, &byte, 1) : write(number, &byte, 1)) < 0) {
        errors[index] = errno;
      }
    }
    next = openToRead("/").get();
    close(next);
  }
  EXPECT_EQ(areOpen, (std::array{true, true, true}));
  EXPECT_EQ(errors, (std::array{EBADF, EBADF, EBADF}));
  EXPECT_GT(next, 2);
}

TEST(StandardDescriptors, ThoseThatAreOpenStayAsTheyAre) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const FileDescriptor reader(ends[0]);
  {
    const Closed closed({1});
    dup2(ends[1], 2);
    close(ends[1]);
    openStandardDescriptors();
    EXPECT_EQ(write(2, "x", 1), 1);
  }
  char byte = 0;
  EXPECT_EQ(read(reader.get(), &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
}

}  // namespace
