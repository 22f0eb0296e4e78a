// SPDX-License-Identifier: MIT
// Requests over open connections to the driver service.
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "driver/testing/driver_session.h"
#include "protocol/usb_request.h"

namespace driver {
namespace {

using testing::Answer;
using testing::DriverSession;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::numberOf;
using ::testing::SizeIs;

class ConnectionToDriver : public DriverSession {
 protected:
  void SetUp() override {
    DriverSession::SetUp();
    startDriver();
    path_ = onlyService();
    connection_ = open(path_);
    ASSERT_TRUE(connection_) << openError_;
  }

  // The connection answers as it should.
  void expectAnswers(const FileDescriptor& connection) {
    EXPECT_EQ(request(connection, kGetCountConfigurations).word(0), 4u);
  }

  // With a byte of data, since a request without data clears its fields in the new layout.
  static VQ_Dispatch newLayoutRecord(const UsbRequest& usbRequest) {
    return usbRequest.encode(UsbRequestLayout::kNew, std::array<std::uint8_t, 1>{});
  }

  std::string path_;
  FileDescriptor connection_;
};

TEST_F(ConnectionToDriver, EveryCommandIsAnsweredWithAWholeRecord) {
  for (const VQ_Command command : {kGetDigitalOutSelector,
                                   kSetDigitalOutSelector,
                                   kReadLogicChip,
                                   kWriteLogicChip,
                                   kGetCountConfigurations,
                                   kGetConfiguration,
                                   kGetCurrentConfiguration,
                                   kSetConfiguration,
                                   kGetCountBufferSizes,
                                   kGetBufferSize,
                                   kGetCurrentBufferSize,
                                   kCanClockSource,
                                   kGetCurrentClockSource,
                                   kSetClockSource,
                                   kGetDigitalStatus,
                                   kGetString0,
                                   kGetString1,
                                   kGetUsbSpeed,
                                   kGetDeviceDescriptor,
                                   kGetDriverVersion,
                                   kGetFirmwareVersion,
                                   kGetFirmwareDate,
                                   kGetUSB1Mode,
                                   kSetUSB1Mode,
                                   kGetDigitalOutMode,
                                   kSetDigitalOutMode,
                                   kPrepareFirmwareUpdate,
                                   kReadLevelInfo,
                                   kResumeStreaming,
                                   kSuspendStreaming,
                                   kSetRouting,
                                   kGetWMRegister,
                                   kSetWMRegister,
                                   kControlCode56,
                                   kGetOutLevels,
                                   kGetChannelMap,
                                   kSetChannelMap,
                                   kGetValueAtOpen,
                                   kSetConfigurationAndChannelMap,
                                   kGetConfigurationAndChannelMap,
                                   kGetDeviceName,
                                   kSetDeviceName,
                                   kGetInLevels}) {
    const Answer answer = request(connection_, command);
    EXPECT_EQ(answer.kind, Answer::Kind::packet) << numberOf(command);
    ASSERT_THAT(answer.bytes, SizeIs(260)) << numberOf(command);
    EXPECT_EQ(answer.bytes[0], static_cast<std::uint32_t>(command));
  }
}

TEST_F(ConnectionToDriver, ControlPortBytesAndUsbRequestsAreAnsweredToo) {
  EXPECT_THAT(request(connection_, kSendCPortBytes, {0x00004101}).bytes, SizeIs(260));
  const UsbRequest firmware = {
      .direction = EDIR_DeviceToHost, .request = kFirmwareVersionRequest, .length = 3};
  EXPECT_THAT(request(connection_, newLayoutRecord(firmware)).bytes, SizeIs(260));
}

TEST_F(ConnectionToDriver, AnUnknownCommandIsAnsweredWithItsNumberAlone) {
  EXPECT_THAT(request(connection_, VQ_Command{99}).bytes, ElementsAre(99, 0, 0, 0));
  expectAnswers(connection_);
}

TEST_F(ConnectionToDriver, ThereIsOnlyOneTypeOfConnection) {
  EXPECT_FALSE(open(path_, 1));
  EXPECT_EQ(openError_, "org.freedesktop.DBus.Error.InvalidArgs");
}

TEST_F(ConnectionToDriver, ARequestOfAnotherSizeClosesTheConnection) {
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{4}, std::size_t{263}, std::size_t{265}, std::size_t{60000}}) {
    const auto connection = open(path_);
    ASSERT_TRUE(sendPacket(connection, std::vector<std::uint8_t>(size)));
    EXPECT_EQ(receive(connection).kind, Answer::Kind::closed) << size;
  }
  expectAnswers(connection_);
}

TEST_F(ConnectionToDriver, AnotherSelectorClosesTheConnection) {
  ASSERT_TRUE(sendPacket(connection_, packetOf(VQ_Dispatch(kGetCountConfigurations), 1)));
  EXPECT_EQ(receive(connection_).kind, Answer::Kind::closed);
}

TEST_F(ConnectionToDriver, RequestsAreAnsweredInOrder) {
  ASSERT_TRUE(sendPacket(connection_, packetOf(VQ_Dispatch(kGetCurrentConfiguration))));
  ASSERT_TRUE(sendPacket(connection_, packetOf(VQ_Dispatch(kGetCurrentBufferSize))));
  EXPECT_EQ(receive(connection_).word(0), 48000u);
  EXPECT_EQ(receive(connection_).word(0), 256u);
}

TEST_F(ConnectionToDriver, AllConnectionsSeeTheSameInterface) {
  const auto other = open(path_);
  EXPECT_EQ(request(other, kSetDigitalOutMode, {1}).word(0), 1u);
  EXPECT_EQ(request(connection_, kGetDigitalOutMode).word(0), 1u);
}

TEST_F(ConnectionToDriver, ClosedConnectionsLeaveNothingBehind) {
  // More than can be open at once.
  for (int i = 0; i < 1100; ++i) ASSERT_TRUE(open(path_)) << i << ": " << openError_;
  expectAnswers(connection_);
}

TEST_F(ConnectionToDriver, AtMost512AreOpenAtOnce) {
  std::vector<Bus> clients;
  for (int i = 0; i < 32; ++i) clients.push_back(connectClient());
  std::vector<FileDescriptor> open512;
  for (std::size_t i = 1; i < 512; ++i) open512.push_back(openFor(clients[i / 16], path_));
  for (const auto& connection : open512) EXPECT_TRUE(connection);
  EXPECT_FALSE(open(path_));
  EXPECT_EQ(openError_, "org.freedesktop.DBus.Error.LimitsExceeded");
  open512.pop_back();
  // The driver learns of the end from the socket, so the next opening may be ahead of it.
  EXPECT_TRUE(waitUntil([&] { return static_cast<bool>(open(path_)); }));
}

// A client that has as many connections as it may have.
class FullClient : public ConnectionToDriver {
 protected:
  void SetUp() override {
    ConnectionToDriver::SetUp();
    client_ = connectClient();
    while (FileDescriptor connection = openFor(client_, path_)) {
      connections_.push_back(std::move(connection));
    }
  }

  Bus client_;
  std::vector<FileDescriptor> connections_;
};

TEST_F(FullClient, Has16AndIsRefusedTheNext) {
  EXPECT_THAT(connections_, SizeIs(16));
  EXPECT_EQ(openError_, "org.freedesktop.DBus.Error.LimitsExceeded");
  for (const auto& connection : connections_) expectAnswers(connection);
}

TEST_F(FullClient, DoesNotKeepOthersOut) {
  const auto connection = open(path_);
  ASSERT_TRUE(connection) << openError_;
  expectAnswers(connection);
}

TEST_F(FullClient, IsRefusedAConnectionToAnotherInterfaceToo) {
  ASSERT_EQ(control({"plug", "--second"}), "");
  ASSERT_TRUE(waitUntil([this] { return !added_.empty(); }));
  EXPECT_FALSE(openFor(client_, added_[0]));
  EXPECT_EQ(openError_, "org.freedesktop.DBus.Error.LimitsExceeded");
  EXPECT_TRUE(open(added_[0])) << openError_;
}

TEST_F(FullClient, OpensAnotherAfterItClosedOne) {
  connections_.pop_back();
  EXPECT_TRUE(waitUntil([&] { return static_cast<bool>(openFor(client_, path_)); }));
}

TEST_F(FullClient, OpensOthersAfterTheInterfaceWasReplugged) {
  ASSERT_EQ(control({"unplug"}), "");
  ASSERT_EQ(control({"plug"}), "");
  ASSERT_TRUE(waitUntil([this] { return !added_.empty(); }));
  EXPECT_TRUE(openFor(client_, added_[0])) << openError_;
}

TEST_F(FullClient, LosesItsConnectionsWhenItLeavesTheBus) {
  client_.reset();
  for (const auto& connection : connections_) {
    ASSERT_EQ(receive(connection).kind, Answer::Kind::closed);
  }
  expectAnswers(connection_);
}

TEST_F(ConnectionToDriver, AClientThatReadsNoAnswersIsDisconnected) {
  const auto packet = packetOf(VQ_Dispatch(kGetCountConfigurations));
  int sent = 0;
  for (; sent < 10000; ++sent) {
    if (sendPacket(connection_, packet)) continue;
    if (errno != EAGAIN) break;
    // The queue is full: a request on another connection is answered after these.
    expectAnswers(open(path_));
  }
  EXPECT_LT(sent, 10000) << "the driver keeps answers without end";
  Answer last = receive(connection_);
  while (last.kind == Answer::Kind::packet) last = receive(connection_);
  EXPECT_EQ(last.kind, Answer::Kind::closed);
  expectAnswers(open(path_));
}

TEST_F(ConnectionToDriver, DescriptorsSentWithARequestAreNotKept) {
  auto packet = packetOf(VQ_Dispatch(kGetCountConfigurations));
  iovec part{packet.data(), packet.size()};
  alignas(cmsghdr) std::array<std::uint8_t, CMSG_SPACE(sizeof(int))> control{};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  cmsghdr* header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const FileDescriptor kept(ends[0]);
  FileDescriptor given(ends[1]);
  const int number = given.get();
  std::copy_n(reinterpret_cast<const std::uint8_t*>(&number), sizeof number,
              reinterpret_cast<std::uint8_t*>(CMSG_DATA(header)));
  ASSERT_EQ(sendmsg(connection_.get(), &message, MSG_NOSIGNAL),
            static_cast<ssize_t>(packet.size()));
  given.reset();
  EXPECT_THAT(receive(connection_).bytes, SizeIs(260));
  // The other end is gone, since nobody has it any more.
  EXPECT_TRUE(test_support::waitReadable(kept.get(), testing::kPatience));
}

TEST_F(ConnectionToDriver, UnpluggingClosesIt) {
  control({"unplug"});
  EXPECT_EQ(receive(connection_).kind, Answer::Kind::closed);
}

TEST_F(ConnectionToDriver, ReenumerationReconnectsTheInterfaceWithoutAnswer) {
  EXPECT_EQ(request(connection_, kReenumerateDevice).kind, Answer::Kind::closed);
  EXPECT_TRUE(waitUntil([this] { return !added_.empty(); })) << "it does not come back";
  EXPECT_THAT(removed_, ElementsAre(path_));
  expectAnswers(open(added_[0]));
}

TEST_F(ConnectionToDriver, ReplugAnswersAndThenReconnectsTheInterface) {
  const UsbRequest replug = {.direction = EDIR_HostToDevice, .request = kReplugRequest};
  EXPECT_THAT(request(connection_, newLayoutRecord(replug)).bytes, SizeIs(260));
  EXPECT_EQ(receive(connection_).kind, Answer::Kind::closed);
  EXPECT_TRUE(waitUntil([this] { return !added_.empty(); })) << "it does not come back";
}

TEST_F(ConnectionToDriver, UnpluggingAReconnectingInterfaceKeepsItUnplugged) {
  request(connection_, kReenumerateDevice);
  EXPECT_TRUE(waitUntil([this] { return !removed_.empty(); }));
  EXPECT_EQ(control({"unplug"}), "");
  EXPECT_EQ(control({"plug"}), "");
  catchUp();
  EXPECT_THAT(added_, SizeIs(1));
  EXPECT_THAT(services(), SizeIs(1));
}

}  // namespace
}  // namespace driver
