// SPDX-License-Identifier: MIT
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

TEST(Json, EveryControlCharacterIsEscaped) {
  EXPECT_EQ(jsonText(std::string_view("\0\x1f\x7f", 3)), R"("\u0000\u001f\u007f")");
  EXPECT_EQ(jsonText("\xC2\x80\xC2\x9F\xC2\xA0"), "\"\\u0080\\u009f\xC2\xA0\"");
}

TEST(Json, Utf8PassesAsItIs) {
  for (const char* text : {"Gr\u00fc\u00dfe",
                           "\u07ff\u0800\xED\x9F\xBF"
                           "\ue000\uffff",
                           "\U00010000\U0010ffff"}) {
    EXPECT_EQ(jsonText(text), '"' + std::string(text) + '"');
  }
}

TEST(Json, EachByteThatIsNoUtf8BecomesTheReplacementCharacter) {
  const auto replaced = [](std::size_t count) {
    std::string json = "\"a";
    for (std::size_t i = 0; i < count; ++i) json += "\ufffd";
    return json + "b\"";
  };
  // In turn: no first byte, too long for its character, a surrogate, beyond the last code point.
  for (const std::string bytes :
       {"\x80", "\xff", "\xc0\x80", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
    EXPECT_EQ(jsonText("a" + bytes + "b"), replaced(bytes.size()));
  }
  // Cut off before the next character.
  for (const std::string bytes : {"\xc3", "\xe2\x82", "\xf0\x9f\x8e"}) {
    EXPECT_EQ(jsonText("a" + bytes + "b"), replaced(bytes.size()));
  }
}

TEST(Json, ACharacterThatTheTextsEndCutsOffIsReplaced) {
  EXPECT_EQ(jsonText("\xe2\x82"), "\"\ufffd\ufffd\"");
}

TEST(Json, ForPeopleOnlyControlCharactersStayEscaped) {
  EXPECT_EQ(readableJson(jsonText("a \"b\" c:\\d\n \u00fc")), "a \"b\" c:\\d\\u000a \u00fc");
  EXPECT_EQ(readableJson(jsonText("")), "");
  EXPECT_EQ(readableJson("[1, 2]"), "[1, 2]");
  EXPECT_EQ(readableJson("true"), "true");
}

TEST(Json, AnArrayMayBeEmpty) {
  EXPECT_EQ(jsonArray(std::vector<int>{}), "[]");
  EXPECT_EQ(jsonArray(std::vector<int>{1, -2}), "[1, -2]");
}

TEST(SimulatedState, ShowsWhatTheModelHolds) {
  Model model;
  model.clock.setDigitalInput({kLockValid, 44100});
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
