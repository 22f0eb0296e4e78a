// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>

#include <array>
#include <vector>

namespace device_registry {
namespace {

using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

class ChannelTest : public testing::Test {
 protected:
  ChannelTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    driver_ = FileDescriptor(ends[0]);
    const FileDescriptor handedOut(ends[1]);
    channel_ = Channel::fromDriver(handedOut.get());
  }

  // Sends the answer before the request is sent; it waits in the channel.
  void answer(const Bytes& packet) {
    EXPECT_EQ(::send(driver_.get(), packet.data(), packet.size(), 0),
              static_cast<ssize_t>(packet.size()));
  }
  IOReturn exchange(int limit = kRegistryCallLimitMs) {
    return channel_->exchange(0x04030201, Bytes{5, 6}, output_, &size_, Deadline(limit));
  }

  FileDescriptor driver_;
  std::optional<Channel> channel_;
  std::array<std::uint8_t, 2> output_{9, 9};
  std::size_t size_ = 77;
};

TEST_F(ChannelTest, ARequestIsTheSelectorLowestByteFirstAndTheRecord) {
  answer({1});
  ASSERT_EQ(exchange(), kIOReturnSuccess);
  Bytes packet(16);
  packet.resize(static_cast<std::size_t>(recv(driver_.get(), packet.data(), packet.size(), 0)));
  EXPECT_THAT(packet, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(ChannelTest, AnAnswerOfExactlyTheOutputsSizeFits) {
  answer({1, 2});
  EXPECT_EQ(exchange(), kIOReturnSuccess);
  EXPECT_THAT(output_, ElementsAre(1, 2));
  EXPECT_EQ(size_, 2u);
}

TEST_F(ChannelTest, AnEmptyAnswerIsNotMistakenForAClosedChannel) {
  answer({});
  EXPECT_EQ(exchange(), kIOReturnSuccess);
  EXPECT_EQ(size_, 0u);
}

TEST_F(ChannelTest, ALongerAnswerStoresNothing) {
  answer({1, 2, 3});
  EXPECT_EQ(exchange(), kIOReturnOverrun);
  EXPECT_THAT(output_, ElementsAre(9, 9));
  EXPECT_EQ(size_, 77u);
}

TEST_F(ChannelTest, AClosedEndFailsWithoutASignal) {
  signal(SIGPIPE, SIG_DFL);  // the tests' parent process may have set it to be ignored
  driver_ = FileDescriptor();
  EXPECT_FALSE(channel_->isQuiet());
  EXPECT_EQ(exchange(), kIOReturnError);
}

TEST_F(ChannelTest, AnEndClosedAfterTheRequestFails) {
  shutdown(driver_.get(), SHUT_WR);
  EXPECT_EQ(exchange(), kIOReturnError);
}

TEST_F(ChannelTest, AMissingAnswerTimesOut) { EXPECT_EQ(exchange(1), kIOReturnTimeout); }

TEST_F(ChannelTest, ARequestTimesOutWhenTheChannelIsFull) {
  IOReturn result = kIOReturnTimeout;
  for (int i = 0; i < 2000 && result == kIOReturnTimeout; ++i) result = exchange(0);
  EXPECT_EQ(result, kIOReturnTimeout);
}

TEST_F(ChannelTest, IsQuietUntilAPacketArrives) {
  EXPECT_TRUE(channel_->isQuiet());
  answer({1});
  EXPECT_FALSE(channel_->isQuiet());
}

TEST_F(ChannelTest, ADescriptorOtherThanAPacketSocketIsRefused) {
  const FileDescriptor stream(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  EXPECT_FALSE(Channel::fromDriver(stream.get()));
  EXPECT_FALSE(Channel::fromDriver(-1));
}

}  // namespace
}  // namespace device_registry
