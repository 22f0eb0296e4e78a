// SPDX-License-Identifier: MIT
#include "platform/pipewire/pipewire.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>

#include "tests/support/temporary_directory.h"

namespace {

using pipewire::Connection;
using Clock = std::chrono::steady_clock;

TEST(RealtimeConfiguration, IsAFileOfItsOwnBeforeVersion1_4) {
  for (const char* version : {"0.3.65", "1.0.5", "1.2.7", "1.3.80"}) {
    EXPECT_STREQ(pipewire::realtimeConfiguration(version), "client-rt.conf") << version;
  }
}

TEST(RealtimeConfiguration, IsEveryClientsFromVersion1_4On) {
  for (const char* version : {"1.3.81", "1.4.2", "1.10.0", "2.0.0"}) {
    EXPECT_STREQ(pipewire::realtimeConfiguration(version), "client.conf") << version;
  }
}

// A server socket that accepts connections and never answers.
class ServerConnection : public testing::Test {
 protected:
  ServerConnection() {
    ::unsetenv("PIPEWIRE_REMOTE");
    ::setenv("PIPEWIRE_RUNTIME_DIR", folder_.path().c_str(), 1);
    loop_ = pw_loop_new(nullptr);
    connection_.emplace(
        loop_, "client.conf",
        Connection::Handlers{[this](pw_core*) { ++opened_; }, [this] { ++closed_; }});
  }
  ~ServerConnection() override {
    connection_.reset();
    pw_loop_destroy(loop_);
  }

  void bind() {
    socket_ = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (folder_.path() / "pipewire-0").c_str(),
                 sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
              0);
  }
  void listen() { ASSERT_EQ(::listen(socket_.get(), 4), 0); }

  // Waits at most `milliseconds` for events and handles them; false when there were none.
  bool iterate(int milliseconds) {
    pw_loop_enter(loop_);
    const int events = pw_loop_iterate(loop_, milliseconds);
    pw_loop_leave(loop_);
    return events > 0;
  }
  bool runUntil(const std::function<bool()>& condition) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!condition() && Clock::now() < deadline) iterate(1000);
    return condition();
  }

  const pipewire::Library library_;
  const test_support::TemporaryDirectory folder_;
  FileDescriptor socket_;
  int opened_ = 0;
  int closed_ = 0;
  pw_loop* loop_ = nullptr;
  std::optional<Connection> connection_;
};

TEST_F(ServerConnection, AServerThatListensIsConnectedToAtOnce) {
  bind();
  listen();
  EXPECT_TRUE(connection_->start());
  EXPECT_EQ(opened_, 1);
  connection_.reset();
  EXPECT_EQ(closed_, 1);
}

TEST_F(ServerConnection, WithoutAServerNothingIsOpened) {
  EXPECT_FALSE(connection_->start());
  EXPECT_FALSE(iterate(50));
  connection_.reset();
  EXPECT_EQ(opened_, 0);
  EXPECT_EQ(closed_, 0);
}

TEST_F(ServerConnection, AServerThatListensAMomentAfterBindingIsConnectedTo) {
  EXPECT_FALSE(connection_->start());
  bind();
  // The event of the bind has arrived and the attempt was refused before the server listens.
  EXPECT_TRUE(iterate(1000));
  EXPECT_EQ(opened_, 0);
  listen();
  EXPECT_TRUE(runUntil([&] { return opened_ == 1; }));
}

TEST_F(ServerConnection, ASocketOfACrashedServerIsGivenUpAfterAFewAttempts) {
  bind();
  EXPECT_FALSE(connection_->start());
  // Attempts are 10 ms apart: after a much longer time without one there will be no more.
  int events = 0;
  while (events < 1000 && iterate(300)) ++events;
  EXPECT_EQ(events, 25);
  EXPECT_EQ(opened_, 0);
}

TEST_F(ServerConnection, AServerThatClosesEveryConnectionIsGivenUpAfterAFewAttempts) {
  bind();
  listen();
  EXPECT_TRUE(connection_->start());
  do {
    for (int accepted; (accepted = ::accept(socket_.get(), nullptr, nullptr)) >= 0;) {
      ::close(accepted);
    }
  } while (opened_ < 1000 && iterate(300));
  EXPECT_EQ(opened_, 26);
  EXPECT_EQ(closed_, 26);
}

TEST_F(ServerConnection, AfterItWasGivenUpANewServerIsConnectedTo) {
  bind();
  EXPECT_FALSE(connection_->start());
  while (iterate(300)) {
  }
  std::filesystem::remove(folder_.path() / "pipewire-0");
  bind();
  listen();
  EXPECT_TRUE(runUntil([&] { return opened_ == 1; }));
}

}  // namespace
