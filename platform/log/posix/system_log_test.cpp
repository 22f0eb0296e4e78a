// SPDX-License-Identifier: MIT
#include "platform/log/posix/system_log.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "platform/posix/posix.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::LogPriority;
using testing::MatchesRegex;

// The system log's socket, at a path of its own.
class Reader {
 public:
  Reader() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path().c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }

  std::string path() const { return folder_.path() / "log"; }

  // The oldest unread message; empty when there is none.
  std::string read() {
    std::string message(1 << 20, '\0');
    const ssize_t size = ::recv(socket_.get(), message.data(), message.size(), 0);
    message.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return message;
  }

 private:
  test_support::TemporaryDirectory folder_;
  FileDescriptor socket_;
};

TEST(SystemLog, ALineHasPriorityLocalTimeProgramAndProcess) {
  setenv("TZ", "UTC-2", 1);
  tzset();
  EXPECT_EQ(
      system_log::lineOf(LogPriority::kWarning, 1741212305, "Found 3 devices\n"),
      "<12>Mar  6 00:05:05 log_posix_test[" + std::to_string(getpid()) + "]: Found 3 devices\n");
  EXPECT_THAT(system_log::lineOf(LogPriority::kError, 0, ""),
              MatchesRegex("<11>Jan  1 02:00:00.*"));
  EXPECT_THAT(system_log::lineOf(LogPriority::kNotice, 0, ""), MatchesRegex("<13>.*"));
}

TEST(SystemLog, EachMessageIsOneDatagram) {
  Reader reader;
  system_log::send(reader.path().c_str(), "first");
  system_log::send(reader.path().c_str(), std::string(1 << 16, 'x'));
  EXPECT_EQ(reader.read(), "first");
  EXPECT_EQ(reader.read(), std::string(1 << 16, 'x'));
  EXPECT_EQ(reader.read(), "");
}

TEST(SystemLog, MessagesThatDoNotFitAreDroppedWithoutAWait) {
  Reader reader;
  constexpr int kMore = 5000;  // than a socket's queue takes
  for (int i = 0; i < kMore; ++i) system_log::send(reader.path().c_str(), "message");
  int read = 0;
  while (reader.read() == "message") ++read;
  EXPECT_GT(read, 0);
  EXPECT_LT(read, kMore);
  system_log::send(reader.path().c_str(), "next");
  EXPECT_EQ(reader.read(), "next");
}

TEST(SystemLog, AMessageThatIsTooLargeAndALogThatIsMissingAreHarmless) {
  Reader reader;
  system_log::send(reader.path().c_str(), std::string(1 << 24, 'x'));
  system_log::send("/nonexistent/log", "message");
  system_log::send(std::string(1000, 'x').c_str(), "message");
  EXPECT_EQ(reader.read(), "");
}

}  // namespace
