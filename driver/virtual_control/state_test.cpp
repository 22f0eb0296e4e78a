// SPDX-License-Identifier: MIT
#include "driver/virtual_control/settings.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace driver {
namespace {

using testing::StartsWith;

TEST(VirtualState, ShowsWhatTheModelHolds) {
  Model model;
  model.clock.setDigitalInput({kLockValid, 44100});
  model.routings.inputs[2] = 3;
  model.usb2 = false;
  const nlohmann::ordered_json state = stateOf(model);
  EXPECT_EQ(state["digital_input"], "valid");
  EXPECT_EQ(state["effective_clock_source"], "digital");
  EXPECT_EQ(state["settings"]["clock_source"], "automatic");
  EXPECT_EQ(state["sample_rate_hz"], 44100);
  EXPECT_EQ(state["settings"]["input_5_6"], "loopback");
  EXPECT_EQ(state["control_port_latest"], nlohmann::ordered_json::array());
  EXPECT_EQ(state["usb"], "1.1");
  EXPECT_EQ(state["streaming_suspended"], false);
}

TEST(VirtualState, ShowsAValueWithoutAWordAsANumber) {
  Model model;
  model.options.digitalOutSelector = 7;
  EXPECT_EQ(stateOf(model)["usb1_input"], 7);
}

TEST(VirtualState, KeepsTheOrderOfItsMembers) {
  EXPECT_THAT(jsonOf(stateOf(Model())), StartsWith(R"({"class_name":"LumKernelDeviceVantrelVX310",)"
                                                   R"("vendor_id":32545,"product_id":23826,)"));
}

std::string jsonOfText(std::string_view text) {
  return jsonOf(nlohmann::ordered_json(std::string(text)));
}

TEST(StateAsJson, QuotesAndControlCharactersAreEscaped) {
  EXPECT_EQ(jsonOfText("a\"b\\c\n"), R"("a\"b\\c\n")"
                                     "\n");
}

TEST(StateAsJson, Utf8PassesAsItIs) {
  for (const char* text : {"Gr\u00fc\u00dfe",
                           "\u07ff\u0800\xED\x9F\xBF"
                           "\ue000\uffff",
                           "\U00010000\U0010ffff"}) {
    EXPECT_EQ(jsonOfText(text), '"' + std::string(text) + "\"\n");
  }
}

TEST(StateAsJson, BytesThatAreNoUtf8BecomeTheReplacementCharacter) {
  // In turn: no first byte, too long for its character, a surrogate, beyond the last code point.
  for (const std::string bytes :
       {"\x80", "\xff", "\xc0\x80", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
    EXPECT_THAT(jsonOfText("a" + bytes + "b"), StartsWith("\"a\ufffd")) << bytes.size();
    EXPECT_THAT(jsonOfText("a" + bytes + "b"), testing::EndsWith("\ufffdb\"\n")) << bytes.size();
  }
  // Cut off before the next character, and by the end.
  for (const std::string bytes : {"\xc3", "\xe2\x82", "\xf0\x9f\x8e"}) {
    EXPECT_EQ(jsonOfText("a" + bytes + "b"), "\"a\ufffdb\"\n");
    EXPECT_EQ(jsonOfText("a" + bytes), "\"a\ufffd\"\n");
  }
}

TEST(StateForPeople, HasALineForEachMember) {
  const nlohmann::ordered_json state = {{"plugged", true},
                                        {"path", ""},
                                        {"map", {1, -2}},
                                        {"settings", {{"format", "consumer"}}},
                                        {"latest", nlohmann::ordered_json::array()}};
  EXPECT_EQ(linesOf(state), "plugged: true\npath: \nmap: [1, -2]\nformat: consumer\nlatest: []\n");
}

TEST(StateForPeople, OnlyControlCharactersStayEscaped) {
  EXPECT_EQ(linesOf({{"name", "a \"b\" c:\\d\n \u00fc"}}), "name: a \"b\" c:\\d\\n \u00fc\n");
  EXPECT_EQ(linesOf({{"name", std::string("\0\x1f\x7f", 3)}}), "name: \\u0000\\u001f\\u007f\n");
  EXPECT_EQ(linesOf({{"name", "\xC2\x80\xC2\x9F\xC2\xA0"}}), "name: \\u0080\\u009f\xC2\xA0\n");
}

}  // namespace
}  // namespace driver
