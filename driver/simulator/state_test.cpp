#include "driver/simulator/state.h"

#include <gmock/gmock.h>

#include "driver/simulator/json.h"

namespace driver {
namespace {

using testing::Contains;
using testing::Pair;

TEST(Json, QuotesAndControlCharactersAreEscaped) {
  EXPECT_EQ(jsonText("a\"b\\c\n"), R"("a\"b\\c\u000a")");
}

TEST(Json, BytesAbove127AreEscaped) { EXPECT_EQ(jsonText("\xE4"), R"("\u00e4")"); }

TEST(Json, AnArrayMayBeEmpty) {
  EXPECT_EQ(jsonArray(std::vector<int>{}), "[]");
  EXPECT_EQ(jsonArray(std::vector<int>{1, -2}), "[1, -2]");
}

TEST(SimulatedState, ShowsWhatTheModelHolds) {
  Model model;
  model.clock.setDigitalInput({DigitalSignal::valid, 44100});
  model.routings.inputs[2] = 3;
  model.usb2 = false;
  const State state = stateOf(model);
  EXPECT_THAT(state, Contains(Pair("digitalInput", "\"valid\"")));
  EXPECT_THAT(state, Contains(Pair("effectiveClockSource", "\"digital\"")));
  EXPECT_THAT(state, Contains(Pair("sampleRate", "44100")));
  EXPECT_THAT(state, Contains(Pair("routingIn", "[0, 1, 3]")));
  EXPECT_THAT(state, Contains(Pair("usb", "\"1.1\"")));
  EXPECT_THAT(state, Contains(Pair("streamingSuspended", "false")));
}

}  // namespace
}  // namespace driver
