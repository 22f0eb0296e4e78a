// SPDX-License-Identifier: MIT
// Faults on the real transport.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>

#include "driver/testing/driver_session.h"

namespace driver {
namespace {

using testing::Answer;
using testing::DriverSession;
using ::testing::IsEmpty;
using testing::numberOf;
using ::testing::SizeIs;

// How long to wait when no packet is expected.
constexpr std::chrono::milliseconds kShortly{100};

class FaultInjection : public DriverSession {
 protected:
  void SetUp() override {
    DriverSession::SetUp();
    startDriver();
    path_ = onlyService();
    connection_ = open(path_);
    ASSERT_TRUE(connection_) << openError_;
  }

  void expectAnswers() { EXPECT_EQ(request(connection_, kGetCountConfigurations).word(0), 4u); }

  std::string stall(std::uint32_t milliseconds) {
    return control({"fault", "stall", std::to_string(milliseconds)});
  }

  std::string path_;
  FileDescriptor connection_;
};

TEST_F(FaultInjection, AShortAnswer) {
  EXPECT_EQ(control({"fault", "short", "12"}), "");
  EXPECT_THAT(request(connection_, kGetCountConfigurations).bytes, SizeIs(12));
  expectAnswers();
}

TEST_F(FaultInjection, ALongAnswer) {
  EXPECT_EQ(control({"fault", "long", "65536"}), "");
  EXPECT_THAT(request(connection_, kGetCountConfigurations).bytes, SizeIs(65536));
  expectAnswers();
}

TEST_F(FaultInjection, ALateAnswerArrivesAfterTheDelay) {
  EXPECT_EQ(control({"fault", "late", "150"}), "");
  EXPECT_EQ(request(connection_, kGetCountConfigurations, {}, kShortly).kind, Answer::Kind::none);
  EXPECT_EQ(receive(connection_).word(0), 4u);
  expectAnswers();
}

TEST_F(FaultInjection, ARequestWhoseAnswerIsMissingIsCarriedOut) {
  EXPECT_EQ(control({"fault", "missing"}), "");
  EXPECT_EQ(request(connection_, kSetDigitalOutMode, {1}, kShortly).kind, Answer::Kind::none);
  EXPECT_EQ(request(connection_, kGetDigitalOutMode).word(0), 1u);
}

TEST_F(FaultInjection, AGarbledAnswer) {
  EXPECT_EQ(control({"fault", "garbled"}), "");
  EXPECT_EQ(request(connection_, kGetCountConfigurations).word(0), ~4u);
  expectAnswers();
}

TEST_F(FaultInjection, AnEmptyAnswerLeavesTheConnectionOpen) {
  EXPECT_EQ(control({"fault", "empty"}), "");
  EXPECT_THAT(request(connection_, kGetCountConfigurations).bytes, IsEmpty());
  expectAnswers();
}

TEST_F(FaultInjection, AClosedConnection) {
  EXPECT_EQ(control({"fault", "close"}), "");
  EXPECT_EQ(request(connection_, kGetCountConfigurations).kind, Answer::Kind::closed);
  connection_ = open(path_);
  expectAnswers();
}

TEST_F(FaultInjection, DeathInMidRequestLosesNameAndConnection) {
  EXPECT_EQ(control({"fault", "die"}), "");
  EXPECT_EQ(request(connection_, kGetCountConfigurations).kind, Answer::Kind::closed);
  EXPECT_EQ(driver().wait(), 128 + SIGKILL);
  EXPECT_TRUE(waitUntil([this] { return !nameOwned_; }));
}

TEST_F(FaultInjection, AHangInMidRequestLastsUntilTheProcessIsContinued) {
  EXPECT_EQ(control({"fault", "hang"}), "");
  EXPECT_EQ(request(connection_, kGetCountConfigurations, {}, kShortly).kind, Answer::Kind::none);
  siginfo_t stopped{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(driver().pid()), &stopped, WSTOPPED), 0);
  EXPECT_EQ(stopped.si_status, SIGSTOP);
  driver().signal(SIGCONT);
  EXPECT_EQ(receive(connection_).word(0), 4u);
  expectAnswers();
}

TEST_F(FaultInjection, RefusedSettingsFailAndReadingGoesOn) {
  EXPECT_EQ(control({"fault", "refuse", "always"}), "");
  EXPECT_THAT(request(connection_, kSetDigitalOutMode, {1}).bytes, SizeIs(4));
  EXPECT_EQ(request(connection_, kGetDigitalOutMode).word(0), 0u);
}

TEST_F(FaultInjection, IgnoredSettingsAreAnsweredAndNotTaken) {
  EXPECT_EQ(control({"fault", "ignore"}), "");
  EXPECT_EQ(request(connection_, kSetDigitalOutMode, {1}).word(0), 1u);
  EXPECT_EQ(request(connection_, kGetDigitalOutMode).word(0), 0u);
}

TEST_F(FaultInjection, AFaultOfOneCommandWaitsForIt) {
  EXPECT_EQ(control({"fault", "short", "5", "command", numberOf(kGetCurrentConfiguration)}), "");
  expectAnswers();
  EXPECT_THAT(request(connection_, kGetCurrentConfiguration).bytes, SizeIs(5));
  EXPECT_THAT(request(connection_, kGetCurrentConfiguration).bytes, SizeIs(260));
}

TEST_F(FaultInjection, AFaultEndsWhenFaultsAreCleared) {
  EXPECT_EQ(control({"fault", "short", "always"}), "");
  EXPECT_THAT(request(connection_, kGetCountConfigurations).bytes, SizeIs(100));
  EXPECT_THAT(request(connection_, kGetCountConfigurations).bytes, SizeIs(100));
  EXPECT_EQ(control({"fault", "none"}), "");
  expectAnswers();
}

TEST_F(FaultInjection, AStalledInterfaceAnswersWhenItIsReleased) {
  EXPECT_EQ(stall(0), "");
  EXPECT_EQ(request(connection_, kGetCountConfigurations, {}, kShortly).kind, Answer::Kind::none);
  EXPECT_EQ(control({"fault", "none"}), "");
  EXPECT_EQ(receive(connection_).word(0), 4u);
}

TEST_F(FaultInjection, AStallWithALimitEndsByItself) {
  EXPECT_EQ(stall(500), "");
  EXPECT_EQ(request(connection_, kGetCountConfigurations, {}, kShortly).kind, Answer::Kind::none);
  EXPECT_EQ(receive(connection_).word(0), 4u);
}

TEST_F(FaultInjection, AConnectionOpenedDuringAStallStallsToo) {
  stall(0);
  connection_ = open(path_);
  EXPECT_EQ(request(connection_, kGetCountConfigurations, {}, kShortly).kind, Answer::Kind::none);
}

TEST_F(FaultInjection, ConnectionsClosedDuringAStallAreFreed) {
  stall(0);
  // More than the connections that the driver keeps for one interface.
  for (int i = 0; i < 600; ++i) connection_ = open(path_);
  control({"fault", "none"});
  EXPECT_EQ(request(connection_, kGetCountConfigurations).word(0), 4u);
}

TEST_F(FaultInjection, RequestsOfAConnectionClosedDuringAStallAreDropped) {
  const auto other = open(path_);
  stall(0);
  request(connection_, kSetDigitalOutMode, {1}, kShortly);
  connection_.reset();
  control({"fault", "none"});
  EXPECT_EQ(request(other, kGetDigitalOutMode).word(0), 0u);
}

TEST_F(FaultInjection, OtherInterfacesAreNotAffected) {
  ASSERT_EQ(control({"plug", "--second"}), "");
  control({"fault", "close", "always"});
  stall(0);
  for (const auto& [path, service] : services()) {
    if (path != path_) connection_ = open(path);
  }
  expectAnswers();
}

}  // namespace
}  // namespace driver
