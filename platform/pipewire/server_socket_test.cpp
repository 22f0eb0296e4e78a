// SPDX-License-Identifier: MIT
#include "platform/pipewire/server_socket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/posix/posix.h"
#include "tests/support/temporary_directory.h"

namespace {

using pipewire::connectToSocket;
using pipewire::serverSocketPath;

class ServerSocketPath : public testing::Test {
 protected:
  ServerSocketPath() {
    for (const char* name :
         {"PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR", "HOME"}) {
      ::unsetenv(name);
    }
  }
};

TEST_F(ServerSocketPath, TheRuntimeFolderHoldsTheSocket) {
  ::setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
  EXPECT_EQ(serverSocketPath(), "/run/user/1/pipewire-0");
}

TEST_F(ServerSocketPath, TheServersOwnFolderComesFirst) {
  ::setenv("PIPEWIRE_RUNTIME_DIR", "/run/pw", 1);
  ::setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
  ::setenv("HOME", "/home/x", 1);
  EXPECT_EQ(serverSocketPath(), "/run/pw/pipewire-0");
}

TEST_F(ServerSocketPath, TheHomeFolderComesLast) {
  ::setenv("HOME", "/home/x", 1);
  EXPECT_EQ(serverSocketPath(), "/home/x/pipewire-0");
}

TEST_F(ServerSocketPath, EmptyVariablesCountAsUnset) {
  ::setenv("PIPEWIRE_RUNTIME_DIR", "", 1);
  ::setenv("PIPEWIRE_REMOTE", "", 1);
  ::setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
  EXPECT_EQ(serverSocketPath(), "/run/user/1/pipewire-0");
}

TEST_F(ServerSocketPath, AnotherServerIsNamed) {
  ::setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
  ::setenv("PIPEWIRE_REMOTE", "other", 1);
  EXPECT_EQ(serverSocketPath(), "/run/user/1/other");
  ::setenv("PIPEWIRE_REMOTE", "/elsewhere/socket", 1);
  EXPECT_EQ(serverSocketPath(), "/elsewhere/socket");
}

TEST_F(ServerSocketPath, WithoutAnyFolderThePathIsEmpty) {
  EXPECT_EQ(serverSocketPath(), "");
  EXPECT_EQ(connectToSocket(serverSocketPath()), -ENOENT);
}

// A bound socket; listen() makes it listen.
class Server {
 public:
  explicit Server(const std::filesystem::path& path)
      : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
              0);
  }
  void listen() { EXPECT_EQ(::listen(socket_.get(), 4), 0); }

 private:
  FileDescriptor socket_;
};

class ServerSocket : public testing::Test {
 protected:
  const test_support::TemporaryDirectory folder_;
  const std::filesystem::path path_ = folder_.path() / "pipewire-0";
};

TEST_F(ServerSocket, AListeningServerIsConnectedTo) {
  Server server(path_);
  server.listen();
  const FileDescriptor connection(connectToSocket(path_));
  EXPECT_GE(connection.get(), 0);
}

TEST_F(ServerSocket, ASocketThatDoesNotListenRefusesTheConnection) {
  Server server(path_);
  EXPECT_EQ(connectToSocket(path_), -ECONNREFUSED);
}

TEST_F(ServerSocket, AMissingSocketIsNotFound) { EXPECT_EQ(connectToSocket(path_), -ENOENT); }

TEST_F(ServerSocket, APathTooLongForAnAddressFails) {
  EXPECT_EQ(connectToSocket("/" + std::string(200, 'x')), -ENAMETOOLONG);
}

}  // namespace
