// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/log/log.h"
#include "platform/posix/posix.h"

namespace {

TEST(StandardStreams, ReceiveWhatIsPrinted) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  platform::printOutput("device %d\n", 3);
  platform::printError("no %s\n", "answer");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "device 3\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "no answer\n");
}

TEST(StandardStreams, KeepTheOrderOfOtherOutput) {
  testing::internal::CaptureStdout();
  std::puts("before");
  platform::printOutput("between\n");
  std::puts("after");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\nbetween\nafter\n");
}

// --- Standard streams that nobody reads ---

// Takes the place of this process's standard output; the former one returns at the end.
class InPlaceOfStandardOutput {
 public:
  explicit InPlaceOfStandardOutput(int descriptor) : former_(::dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    ::dup2(descriptor, STDOUT_FILENO);
  }
  ~InPlaceOfStandardOutput() { ::dup2(former_.get(), STDOUT_FILENO); }

 private:
  FileDescriptor former_;
};

// Everything that can be read from `descriptor` now.
std::string readAll(const FileDescriptor& descriptor) {
  std::string all;
  char bytes[4096];
  ::fcntl(descriptor.get(), F_SETFL, O_NONBLOCK);
  for (ssize_t size; (size = ::read(descriptor.get(), bytes, sizeof bytes)) > 0;) {
    all.append(bytes, static_cast<std::size_t>(size));
  }
  return all;
}

// Prints more numbered lines than any of the kernel's buffers holds, without blocking. Returns
// them.
std::string printLines(int writer, const std::string& lineEnd) {
  constexpr int kLines = 20'000;
  std::string printed;
  const InPlaceOfStandardOutput place(writer);
  for (int line = 0; line < kLines; ++line) {
    printed += "line " + std::to_string(line) + lineEnd;
    platform::printOutput("line %d\n", line);
  }
  return printed;
}

// What arrives are the first lines, complete up to the last of them.
void expectTheFirstLines(const FileDescriptor& reader, int writer) {
  const std::string printed = printLines(writer, "\n");
  const std::string arrived = readAll(reader);
  EXPECT_GT(arrived.size(), 100u);
  EXPECT_LT(arrived.size(), printed.size());
  EXPECT_EQ(arrived, printed.substr(0, arrived.size()));
}

TEST(StandardStreams, APipeThatNobodyReadsTakesTheFirstLines) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const FileDescriptor reader(ends[0]);
  const FileDescriptor writer(ends[1]);
  expectTheFirstLines(reader, writer.get());
}

// The kernel moves a terminal's text on by itself, so later lines may fit again.
TEST(StandardStreams, ATerminalThatNobodyReadsTakesTheFirstLinesAndPerhapsLaterOnes) {
  const FileDescriptor reader(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(::grantpt(reader.get()), 0);
  ASSERT_EQ(::unlockpt(reader.get()), 0);
  const FileDescriptor writer(::open(::ptsname(reader.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_TRUE(writer);
  const std::string printed = printLines(writer.get(), "\r\n");
  const std::string arrived = readAll(reader);
  EXPECT_LT(arrived.size(), printed.size());
  EXPECT_EQ(arrived.substr(0, 100), printed.substr(0, 100));
}

TEST(StandardStreams, ASocketThatNobodyReadsTakesTheFirstLines) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const FileDescriptor reader(ends[0]);
  const FileDescriptor writer(ends[1]);
  expectTheFirstLines(reader, writer.get());
}

TEST(StandardStreams, ATextLargerThanAPipeArrivesCutAndWholeWhenItIsRead) {
  const std::string text(200'000, 'x');
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const FileDescriptor reader(ends[0]);
  FileDescriptor writer(ends[1]);
  {
    const InPlaceOfStandardOutput place(writer.get());
    platform::printOutput("%s", text.c_str());
  }
  const std::string arrived = readAll(reader);
  EXPECT_GE(arrived.size(), std::size_t{PIPE_BUF});
  EXPECT_LT(arrived.size(), text.size());

  testing::internal::CaptureStdout();  // a file
  platform::printOutput("%s", text.c_str());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), text);
}

TEST(StandardStreams, APipeWithoutAReaderDoesNotEndTheProgram) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  FileDescriptor(ends[0]).reset();
  const FileDescriptor writer(ends[1]);
  const InPlaceOfStandardOutput place(writer.get());
  platform::printOutput("line\n");
}

}  // namespace
