// SPDX-License-Identifier: MIT
#include "platform/posix/posix.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <filesystem>

#include "tests/support/temporary_directory.h"

namespace {

// A socket with this path.
FileDescriptor bound(const std::filesystem::path& path) {
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  EXPECT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  return socket;
}

class SocketWatching : public testing::Test {
 protected:
  // Whether an event is pending; a file event is queued before the change returns.
  static bool ready(const SocketWatch& watch) {
    pollfd event{watch.descriptor(), POLLIN, 0};
    return ::poll(&event, 1, 0) > 0;
  }

  const test_support::TemporaryDirectory folder_;
  const std::filesystem::path path_ = folder_.path() / "socket";
};

TEST_F(SocketWatching, TheAppearanceOfTheSocketIsAnEvent) {
  SocketWatch watch(path_);
  watch.arm();
  EXPECT_FALSE(ready(watch));
  const FileDescriptor server = bound(path_);
  EXPECT_TRUE(ready(watch));
  EXPECT_TRUE(watch.takeEvents());
  EXPECT_FALSE(ready(watch));
}

TEST_F(SocketWatching, ASocketThatIsMovedInIsAnEvent) {
  SocketWatch watch(path_);
  watch.arm();
  const FileDescriptor server = bound(folder_.path() / "new");
  EXPECT_FALSE(watch.takeEvents());
  std::filesystem::rename(folder_.path() / "new", path_);
  EXPECT_TRUE(watch.takeEvents());
}

// A session bus does that once it accepts connections.
TEST_F(SocketWatching, AChangeOfTheSocketsPermissionsIsAnEvent) {
  const FileDescriptor server = bound(path_);
  SocketWatch watch(path_);
  watch.arm();
  EXPECT_FALSE(watch.takeEvents());
  std::filesystem::permissions(path_, std::filesystem::perms::all);
  EXPECT_TRUE(watch.takeEvents());
}

TEST_F(SocketWatching, OtherFilesCauseNoEvent) {
  SocketWatch watch(path_);
  watch.arm();
  folder_.write("socket.lock", "");
  EXPECT_FALSE(watch.takeEvents());
}

TEST_F(SocketWatching, FoldersThatDoNotExistYetAreWaitedFor) {
  const std::filesystem::path deep = folder_.path() / "one" / "two" / "socket";
  SocketWatch watch(deep);
  watch.arm();
  std::filesystem::create_directory(folder_.path() / "one");
  EXPECT_TRUE(watch.takeEvents());
  watch.arm();
  std::filesystem::create_directory(folder_.path() / "one" / "two");
  EXPECT_TRUE(watch.takeEvents());
  watch.arm();
  const FileDescriptor server = bound(deep);
  EXPECT_TRUE(watch.takeEvents());
}

TEST_F(SocketWatching, AFolderThatIsRemovedAndMadeAgainIsFollowed) {
  const std::filesystem::path inner = folder_.path() / "inner";
  std::filesystem::create_directory(inner);
  SocketWatch watch(inner / "socket");
  watch.arm();
  std::filesystem::remove(inner);
  EXPECT_TRUE(watch.takeEvents());
  watch.arm();
  std::filesystem::create_directory(inner);
  EXPECT_TRUE(watch.takeEvents());
  watch.arm();
  const FileDescriptor server = bound(inner / "socket");
  EXPECT_TRUE(watch.takeEvents());
}

TEST_F(SocketWatching, APathWithoutAFolderCausesNoEvents) {
  SocketWatch watch("");
  watch.arm();
  EXPECT_FALSE(watch.takeEvents());
}

}  // namespace
