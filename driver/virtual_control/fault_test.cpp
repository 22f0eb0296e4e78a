// SPDX-License-Identifier: MIT
#include "driver/virtual_control/fault.h"

#include <gmock/gmock.h>

#include "driver/virtual_control/faulty_request_handler.h"

namespace driver {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::optional<Fault> parsed(const std::vector<std::string>& words) {
  std::string problem;
  const auto fault = parseFault(words, &problem);
  EXPECT_EQ(fault.has_value(), problem.empty()) << problem;
  return fault;
}

TEST(ParseFault, AKindAloneAppliesToOneRequest) {
  EXPECT_EQ(parsed({"missing"}), (Fault{FaultKind::missing, 0, std::nullopt, 1}));
}

TEST(ParseFault, AmountsHaveDefaults) {
  EXPECT_EQ(parsed({"short"})->amount, 100u);
  EXPECT_EQ(parsed({"long"})->amount, 300u);
  EXPECT_EQ(parsed({"late"})->amount, 400u);
}

TEST(ParseFault, AnAmountFollowsTheKind) {
  EXPECT_EQ(parsed({"late", "250", "always"}),
            (Fault{FaultKind::late, 250, std::nullopt, std::nullopt}));
}

TEST(ParseFault, CommandAndTimesComeInAnyOrder) {
  constexpr auto kCommand = static_cast<std::uint32_t>(VQ_Command::kGetCurrentConfiguration);
  const std::string number = std::to_string(kCommand);
  const Fault expected = {FaultKind::close, 0, kCommand, 3};
  EXPECT_EQ(parsed({"close", "command", number, "times", "3"}), expected);
  EXPECT_EQ(parsed({"close", "times", "3", "command", "0x8"}), expected);
}

TEST(ParseFault, WrongWordsAreExplained) {
  for (const auto& words : std::vector<std::vector<std::string>>{{},
                                                                 {"sideways"},
                                                                 {"short", "260"},
                                                                 {"missing", "5"},
                                                                 {"missing", "times"},
                                                                 {"missing", "times", "0"},
                                                                 {"missing", "command", "x"},
                                                                 {"late", "-1"}}) {
    std::string problem;
    EXPECT_FALSE(parseFault(words, &problem));
    EXPECT_NE(problem, "");
  }
}

// Answers every request with its record, in which payload word 0 counts the requests.
class CountingHandler final : public RequestHandler {
 public:
  Reply handle(const VQ_Dispatch& request) override {
    VQ_Dispatch record = request;
    record.setWord(0, ++count);
    Reply reply;
    reply.packet.emplace(record.bytes.begin(), record.bytes.end());
    return reply;
  }
  void setRouting(const RoutingRecord& routing) override { routings.push_back(routing); }
  std::uint32_t count = 0;
  std::vector<RoutingRecord> routings;
};

class FaultyRequests : public testing::Test {
 protected:
  using enum VQ_Command;
  static constexpr RoutingRecord kRouting{0, 1, 3};

  void add(const std::vector<std::string>& words) { faulty_.add(*parsed(words)); }
  Reply ask(VQ_Command command = kGetCountConfigurations) {
    return faulty_.handle(VQ_Dispatch(command));
  }

  CountingHandler handler_;
  FaultyRequestHandler faulty_{handler_};
};

TEST_F(FaultyRequests, WithoutFaultsTheAnswerIsUntouched) {
  const Reply reply = ask();
  EXPECT_THAT(*reply.packet, SizeIs(260));
  EXPECT_EQ(reply.delay.count(), 0);
  EXPECT_FALSE(reply.closeConnection);
}

TEST_F(FaultyRequests, AFaultEndsAfterItsNumberOfRequests) {
  add({"short", "10", "times", "2"});
  EXPECT_THAT(*ask().packet, SizeIs(10));
  EXPECT_THAT(*ask().packet, SizeIs(10));
  EXPECT_THAT(*ask().packet, SizeIs(260));
  EXPECT_THAT(faulty_.faults(), IsEmpty());
}

TEST_F(FaultyRequests, AnAlwaysFaultNeverEnds) {
  add({"empty", "always"});
  for (int i = 0; i < 5; ++i) EXPECT_THAT(*ask().packet, IsEmpty());
}

TEST_F(FaultyRequests, TheFaultAddedFirstIsAppliedFirst) {
  add({"short", "10"});
  add({"short", "20"});
  EXPECT_THAT(*ask().packet, SizeIs(10));
  EXPECT_THAT(*ask().packet, SizeIs(20));
}

TEST_F(FaultyRequests, ALateAnswerIsComplete) {
  add({"late", "70"});
  const Reply reply = ask();
  EXPECT_EQ(reply.delay.count(), 70);
  EXPECT_THAT(*reply.packet, SizeIs(260));
}

TEST_F(FaultyRequests, ARequestWhoseAnswerIsMissingIsCarriedOut) {
  add({"missing"});
  EXPECT_FALSE(ask().packet);
  EXPECT_EQ(handler_.count, 1u);
}

TEST_F(FaultyRequests, ARequestThatClosesTheConnectionIsNotCarriedOut) {
  add({"close"});
  EXPECT_TRUE(ask().closeConnection);
  EXPECT_EQ(handler_.count, 0u);
}

TEST_F(FaultyRequests, RefuseAppliesToSettingsOnly) {
  add({"refuse"});
  EXPECT_THAT(*ask(kGetCountConfigurations).packet, SizeIs(260));
  EXPECT_THAT(*ask(kSetDigitalOutMode).packet,
              ElementsAre(static_cast<std::uint32_t>(kSetDigitalOutMode), 0, 0, 0));
  EXPECT_EQ(handler_.count, 1u);
}

TEST_F(FaultyRequests, IgnoringEchoesTheSetting) {
  add({"ignore"});
  VQ_Dispatch request(VQ_Command::kSetDigitalOutMode, 9);
  EXPECT_THAT(*faulty_.handle(request).packet, testing::ElementsAreArray(request.bytes));
  EXPECT_EQ(handler_.count, 0u);
}

TEST_F(FaultyRequests, ARoutingWithoutAFaultIsTaken) {
  faulty_.setRouting(kRouting);
  EXPECT_THAT(handler_.routings, ElementsAre(kRouting));
}

TEST_F(FaultyRequests, RefusedAndIgnoredRoutingsAreNotTaken) {
  for (const char* fault : {"refuse", "ignore"}) {
    add({fault});
    faulty_.setRouting(kRouting);
    EXPECT_THAT(handler_.routings, IsEmpty()) << fault;
    EXPECT_THAT(faulty_.faults(), IsEmpty()) << fault;
  }
}

TEST_F(FaultyRequests, FaultsOfAnswersAndOfOtherCommandsWaitWhileARoutingIsTaken) {
  add({"late"});
  add({"refuse", "command", std::to_string(static_cast<std::uint32_t>(kSetDigitalOutMode))});
  faulty_.setRouting(kRouting);
  EXPECT_THAT(handler_.routings, ElementsAre(kRouting));
  EXPECT_THAT(faulty_.faults(), SizeIs(2));
}

}  // namespace
}  // namespace driver
