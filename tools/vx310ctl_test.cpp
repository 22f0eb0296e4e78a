// SPDX-License-Identifier: MIT
// vx310ctl as a user calls it.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>

#include "driver/testing/driver_session.h"
#include "tests/support/silent_bus.h"

namespace vx310ctl {
namespace {

using driver::testing::ChildProcess;
using driver::testing::DriverSession;
using driver::testing::numberOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

using Words = std::vector<std::string>;

class ControlTool : public DriverSession {
 protected:
  // Runs the tool and returns its exit status.
  int run(const Words& words) {
    Words all = {VX310_CTL};
    all.insert(all.end(), words.begin(), words.end());
    ChildProcess tool(all, environment());
    output_ = tool.readOutput();
    errors_ = tool.readErrors();
    return tool.wait().value_or(-1);
  }

  // Runs `sim` with these words, which must succeed and print nothing.
  void sim(Words words) {
    words.insert(words.begin(), "sim");
    EXPECT_EQ(run(words), 0) << errors_;
    EXPECT_EQ(output_, "");
    EXPECT_EQ(errors_, "");
  }

  // The state of a virtual interface, as JSON.
  std::string state(const std::string& interface = "0") {
    EXPECT_EQ(run({"sim", "--interface", interface, "state", "--json"}), 0) << errors_;
    return output_;
  }

  void expectUsageError(const Words& words) {
    EXPECT_EQ(run(words), 2) << ::testing::PrintToString(words);
    EXPECT_EQ(output_, "");
    EXPECT_THAT(errors_, StartsWith("vx310ctl: "));
    EXPECT_THAT(errors_, HasSubstr("help'.\n"));
  }

  std::string output_;
  std::string errors_;
};

TEST_F(ControlTool, HelpNamesTheCommandsAndTheExitStatus) {
  EXPECT_EQ(run({"--help"}), 0);
  for (const char* word : {"list", "show", "get", "set", "watch", "sim", "Exit status"}) {
    EXPECT_THAT(output_, HasSubstr(word));
  }
  EXPECT_EQ(errors_, "");
  const std::string help = output_;
  for (const char* word : {"-h", "help"}) {
    EXPECT_EQ(run({word}), 0) << word;
    EXPECT_EQ(output_, help);
    EXPECT_EQ(errors_, "");
  }
}

TEST_F(ControlTool, EachCommandHasItsHelp) {
  for (const char* command : {"list", "show", "get", "set", "watch", "sim", "help"}) {
    EXPECT_EQ(run({command, "--help"}), 0) << errors_;
    EXPECT_THAT(output_, HasSubstr("Usage: vx310ctl " + std::string(command)));
    EXPECT_EQ(errors_, "");
    const std::string help = output_;
    for (const Words& words : {Words{command, "-h"}, Words{"help", command}}) {
      EXPECT_EQ(run(words), 0) << ::testing::PrintToString(words);
      EXPECT_EQ(output_, help);
      EXPECT_EQ(errors_, "");
    }
  }
}

TEST_F(ControlTool, HelpOfSetListsSettingsAndItems) {
  EXPECT_EQ(run({"set", "--help"}), 0);
  EXPECT_THAT(output_, HasSubstr("\nclock-source: Automatic, Internal\n"));
}

TEST_F(ControlTool, ErrorsNameTheWrongWord) {
  const auto expectProblem = [this](const Words& words, const char* word, const char* command) {
    EXPECT_EQ(run(words), 2) << ::testing::PrintToString(words);
    EXPECT_THAT(errors_, StartsWith("vx310ctl: "));
    EXPECT_THAT(errors_, HasSubstr(word));
    EXPECT_THAT(errors_, EndsWith("\nTry '" + std::string(command) + " --help'.\n"));
    EXPECT_EQ(std::ranges::count(errors_, '\n'), 2) << errors_;
  };
  expectProblem({}, "command is required", "vx310ctl");
  expectProblem({"dance"}, "dance", "vx310ctl");
  expectProblem({"--dance"}, "--dance", "vx310ctl");
  expectProblem({"help", "dance"}, "dance", "vx310ctl help");
  expectProblem({"show", "list"}, "list", "vx310ctl show");
  expectProblem({"show", ""}, "INDEX", "vx310ctl show");
  expectProblem({"set", "clock-source"}, "ITEM", "vx310ctl set");
  expectProblem({"sim"}, "'vx310ctl sim help'", "vx310ctl sim");
  expectProblem({"sim", "--interface", "-1", "plug"}, "-1", "vx310ctl sim");
}

TEST_F(ControlTool, HelpOfSimPointsToTheDriversHelpWithAndWithoutADriver) {
  for (const bool withDriver : {false, true}) {
    if (withDriver) startDriver();
    EXPECT_EQ(run({"sim", "--help"}), 0) << errors_;
    EXPECT_THAT(output_, HasSubstr("--interface"));
    EXPECT_THAT(output_, HasSubstr("'vx310ctl sim help'"));
  }
}

TEST_F(ControlTool, TheDriverExplainsItsCommandsFaultsAndSettings) {
  startDriver({"--unplugged"});
  EXPECT_EQ(run({"sim", "help"}), 0) << errors_;
  EXPECT_THAT(output_, StartsWith("Usage: vx310ctl sim "));
  for (const char* line :
       {"\n  help [COMMAND]\n", "\n  plug [--second]\n", "\n  unplug\n", "\n  state [--json]\n",
        "\n  short [BYTES]\n", "\n  clock automatic|internal|digital\n",
        "\n  firmware-date TEXT\n        the firmware's date, at most 15 characters\n"}) {
    EXPECT_THAT(output_, HasSubstr(line));
  }
  EXPECT_EQ(run({"sim", "--interface", "7", "help"}), 0) << errors_;
}

TEST_F(ControlTool, TheVersionIsShown) {
  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_THAT(output_, StartsWith("vx310ctl 1."));
}

TEST_F(ControlTool, WrongCommandLinesAreStatus2WithoutADriver) {
  expectUsageError({});
  expectUsageError({"dance"});
  expectUsageError({"list", "all"});
  expectUsageError({"show", "first"});
  expectUsageError({"show", "0", "1"});
  expectUsageError({"get", "volume"});
  expectUsageError({"get", "clock-source", "line-output"});
  expectUsageError({"get", "--xml"});
  expectUsageError({"get", ""});
  expectUsageError({"set"});
  expectUsageError({"set", "clock-source"});
  expectUsageError({"set", "volume", "1"});
  expectUsageError({"set", "", "1"});
  expectUsageError({"set", "clock-source", "Sundial"});
  expectUsageError({"set", "clock-source", "2"});
  expectUsageError({"set", "clock-source", "-1"});
  expectUsageError({"set", "clock-source", "1", "now"});
  expectUsageError({"watch", "all"});
  expectUsageError({"sim"});
  expectUsageError({"sim", "--interface"});
  expectUsageError({"sim", "--interface", "x", "plug"});
}

// The driver parses the words after "sim".
TEST_F(ControlTool, WordsThatAreNoSimCommandAreStatus2) {
  startDriver();
  expectUsageError({"sim", "dance"});
  expectUsageError({"sim", "plug", "--third"});
  expectUsageError({"sim", "unplug", "now"});
  expectUsageError({"sim", "notify"});
  expectUsageError({"sim", "notify", "three"});
  expectUsageError({"sim", "notify", "3", "--size"});
  expectUsageError({"sim", "fault"});
  expectUsageError({"sim", "fault", "sideways"});
  expectUsageError({"sim", "fault", "stall", "long"});
  expectUsageError({"sim", "state", "--xml"});
  expectUsageError({"sim", "list", "all"});
  expectUsageError({"sim", "sample-rate", "32000"});
  expectUsageError({"sim", "--interface", "7", "dance"});
  EXPECT_EQ(errors_,
            "vx310ctl: there is no command or setting 'dance'\nTry 'vx310ctl sim help'.\n");
  expectUsageError({"sim", "help", "fault", "late"});
  EXPECT_THAT(errors_, HasSubstr("'help' takes [COMMAND]"));
  expectUsageError({"sim", "help", "dance"});
  expectUsageError({"help", "sim", "dance"});
  expectUsageError({"help", "set", "line-output"});
  expectUsageError({"sim", "plug", "--third"});
  EXPECT_THAT(errors_, HasSubstr("'plug' takes [--second]"));
}

TEST_F(ControlTool, WithoutADriverTheStatusIs3) {
  for (const Words& words :
       {Words{"list"}, Words{"show"}, Words{"get"}, Words{"set", "clock-source", "1"},
        Words{"sim", "plug"}, Words{"sim", "state"}, Words{"sim", "usb", "1.1"}}) {
    EXPECT_EQ(run(words), 3) << ::testing::PrintToString(words);
    EXPECT_THAT(errors_, HasSubstr("no driver service is running"));
  }
}

TEST_F(ControlTool, AnInterfaceThatDoesNotExistIsStatus4) {
  startDriver();
  EXPECT_EQ(run({"sim", "--interface", "1", "unplug"}), 4);
  EXPECT_THAT(errors_, HasSubstr("no interface 1"));
  EXPECT_EQ(run({"show", "1"}), 4);
  EXPECT_THAT(errors_, HasSubstr("no interface 1"));
}

TEST_F(ControlTool, ARefusedSettingIsStatus1) {
  startDriver();
  EXPECT_EQ(run({"sim", "clock", "digital"}), 1);
  EXPECT_THAT(errors_, HasSubstr("'clock'"));
}

TEST_F(ControlTool, ListWithoutInterfacesIsEmpty) {
  startDriver({"--unplugged"});
  EXPECT_EQ(run({"list"}), 0);
  EXPECT_EQ(output_, "");
}

TEST_F(ControlTool, ListShowsIdsAndNames) {
  startDriver();
  EXPECT_EQ(run({"list"}), 0);
  EXPECT_EQ(output_, "0  7F21:5D12  VX-310\n");
}

TEST_F(ControlTool, ShowHasAllValuesOfTheInterface) {
  startDriver();
  EXPECT_EQ(run({"show", "--json"}), 0);
  EXPECT_EQ(output_,
            "{\"schema\":1,\"product_name\":\"VX-310\",\"vendor_id\":32545,\"product_id\":23826,"
            "\"unit_id\":\"5D12000000000001\",\"usb\":\"2.0\","
            "\"driver_version\":\"2.05\",\"firmware_version\":\"1.7.0\","
            "\"firmware_date\":\"Mar 14 2009 1.7\",\"sample_width_bits\":24,"
            "\"sample_rate_hz\":48000,\"buffer_size_frames\":256,"
            "\"effective_clock_source\":\"internal\",\"digital_input\":\"none\","
            "\"digital_input_rate_hz\":0,\"usb1_input\":\"analog\",\"settings\":{"
            "\"input_1_2\":\"analog-1-2\",\"input_3_4\":\"analog-3-4\",\"input_5_6\":\"digital\","
            "\"line_output\":\"playback-1-2\",\"digital_output\":\"playback-3-4\","
            "\"clock_source\":\"automatic\",\"digital_output_format\":\"consumer\"}}\n");
}

TEST_F(ControlTool, ShowForPeopleHasNamesAndTexts) {
  startDriver();
  EXPECT_EQ(run({"show"}), 0);
  EXPECT_THAT(output_,
              StartsWith("Device:                 VX-310\nVendor id:              0x7F21\n"));
  EXPECT_THAT(output_, HasSubstr("Digital input:          no signal\n"));
  EXPECT_THAT(output_, HasSubstr("Inputs 5/6:             Digital\n"));
  EXPECT_THAT(output_, Not(HasSubstr("uFirmwareVersion")));
}

TEST_F(ControlTool, ShowPrintsThePanelsTexts) {
  startDriver();
  const auto shows = [this](const char* text) {
    EXPECT_EQ(run({"show"}), 0) << errors_;
    EXPECT_THAT(output_, HasSubstr(text));
  };
  sim({"digital-input", "invalid"});
  shows("\nDigital input:          no valid signal\n");
  sim({"digital-input", "muted", "96000"});
  shows("\nDigital input:          muted 96 kHz\n");
  sim({"digital-input", "valid", "44150"});
  shows("\nDigital input:          valid 44.1 kHz\n");
  shows("\nEffective clock source: digital input\nChosen clock source:    Automatic\n");
  shows("\nSample rate:            44.1 kHz\n");
  sim({"clock", "internal"});
  shows("\nDigital input:          unavailable\n");
  shows("\nEffective clock source: internal\nChosen clock source:    Internal\n");
  sim({"usb", "1.1"});
  shows("\nConnection:             USB 1.1 (unsupported)\n");
}

TEST_F(ControlTool, AnInterfaceThatDoesNotAnswerIsStatus1) {
  startDriver();
  sim({"fault", "stall"});
  for (const Words& words : {Words{"show"}, Words{"get"}, Words{"set", "clock-source", "1"}}) {
    EXPECT_EQ(run(words), 1) << words[0];
    EXPECT_THAT(errors_, HasSubstr("does not answer")) << words[0];
  }
  sim({"fault", "none"});
  EXPECT_EQ(run({"show"}), 0) << errors_;
}

TEST_F(ControlTool, AnUnreportedSettingIsStatus1AndShownAsUnknownByWatch) {
  startDriver();
  for (const auto& [setting, command] : {std::pair("clock-source", kGetCurrentClockSource),
                                         std::pair("digital-output-format", kGetDigitalOutMode)}) {
    sim({"fault", "none"});
    sim({"fault", "missing", "command", numberOf(command), "always"});
    EXPECT_EQ(run({"get", setting}), 1) << setting;
    EXPECT_EQ(run({"set", setting, "0"}), 1) << setting;
    EXPECT_EQ(output_, "");
    EXPECT_EQ(errors_,
              "vx310ctl: the interface does not report its " + std::string(setting) + "\n");
    EXPECT_EQ(run({"get", "line-output"}), 0) << errors_;
    ChildProcess watch({VX310_CTL, "watch"}, environment());
    EXPECT_THAT(watch.readLine(), HasSubstr(std::string(setting) + ": unknown"));
  }
}

TEST_F(ControlTool, GetShowsOneSettingOrAllOfThem) {
  startDriver();
  EXPECT_EQ(run({"get", "input-5-6"}), 0) << errors_;
  EXPECT_EQ(output_, "Digital\n");
  EXPECT_EQ(run({"get"}), 0);
  EXPECT_EQ(output_,
            "input-1-2:              Analog 1/2\n"
            "input-3-4:              Analog 3/4\n"
            "input-5-6:              Digital\n"
            "line-output:            Playback 1/2\n"
            "digital-output:         Playback 3/4\n"
            "clock-source:           Automatic\n"
            "digital-output-format:  Consumer (S/PDIF)\n");
  EXPECT_EQ(run({"get", "--json", "line-output"}), 0);
  EXPECT_EQ(output_, "{\"schema\":1,\"settings\":{\"line_output\":\"playback-1-2\"}}\n");
}

TEST_F(ControlTool, SetTakesAnItemsTextOrWordInAnyCaseOrItsNumber) {
  startDriver();
  for (const char* item : {"professional (aes3)", "Professional", "1"}) {
    EXPECT_EQ(run({"set", "digital-output-format", "0"}), 0) << errors_;
    EXPECT_EQ(run({"set", "digital-output-format", item}), 0) << errors_;
    EXPECT_EQ(output_, "");
    EXPECT_EQ(run({"get", "digital-output-format"}), 0);
    EXPECT_EQ(output_, "Professional (AES3)\n");
  }
}

TEST_F(ControlTool, WrongSettingsAndItemsAreAnsweredWithTheValidOnes) {
  expectUsageError({"set", "volume", "1"});
  EXPECT_THAT(errors_, HasSubstr("\n  digital-output-format\n"));
  expectUsageError({"set", "digital-output-format", "optical"});
  EXPECT_THAT(errors_, HasSubstr("\n  0  Consumer (S/PDIF)\n  1  Professional (AES3)\n"));
}

TEST_F(ControlTool, ASettingThatTheInterfaceIgnoresOrRefusesIsStatus1) {
  startDriver();
  sim({"fault", "ignore", "always"});
  EXPECT_EQ(run({"set", "digital-output-format", "1"}), 1);
  EXPECT_THAT(errors_, HasSubstr("digital-output-format is Consumer (S/PDIF)"));
  sim({"fault", "none"});
  sim({"fault", "refuse", "always"});
  EXPECT_EQ(run({"set", "digital-output-format", "1"}), 1);
  EXPECT_THAT(errors_, HasSubstr("digital-output-format is Consumer (S/PDIF)"));
}

TEST_F(ControlTool, WithoutAnAudioServerRoutingsAreShownAndCannotBeSet) {
  startDriver();
  EXPECT_EQ(run({"get", "line-output"}), 0);
  EXPECT_EQ(output_, "Playback 1/2\n");
  EXPECT_EQ(errors_, "");
  EXPECT_EQ(run({"set", "clock-source", "1"}), 0);
  EXPECT_EQ(errors_, "");
  EXPECT_EQ(run({"set", "line-output", "3"}), 1);
  EXPECT_EQ(errors_, "vx310ctl: the audio server has no device VX-310; is PipeWire running?\n");
}

TEST_F(ControlTool, OutputThatCannotBeWrittenIsStatus1) {
  startDriver();
  for (const char* command : {"get", "show", "list", "watch", "--help"}) {
    for (const std::string to : {"> /dev/full", ">&-", "<&- >&-"}) {
      ChildProcess tool({"sh", "-c", "exec \"$0\" \"$1\" " + to, VX310_CTL, command},
                        environment());
      EXPECT_EQ(tool.wait(), 1) << command << to;
      EXPECT_EQ(tool.readErrors(), "vx310ctl: the output cannot be written\n") << command << to;
    }
  }
}

TEST_F(ControlTool, SettingsOfAnInterfaceThatIsNotPluggedInAreStatus4) {
  startDriver({"--unplugged"});
  EXPECT_EQ(run({"get"}), 4);
  EXPECT_EQ(run({"set", "clock-source", "1"}), 4);
  EXPECT_THAT(errors_, HasSubstr("no interface is connected"));
}

TEST_F(ControlTool, WatchHasALineForEachEvent) {
  startDriver({"--unplugged"});
  ChildProcess watch({VX310_CTL, "watch"}, environment());
  EXPECT_EQ(watch.readLine(), "disconnected");
  sim({"plug"});
  EXPECT_EQ(watch.readLine(),
            "connected name: VX-310; connection: USB 2.0; sample-rate: 48 kHz; "
            "effective-clock-source: internal; "
            "digital-input: no signal; input-1-2: Analog 1/2; input-3-4: Analog 3/4; "
            "input-5-6: Digital; line-output: Playback 1/2; digital-output: Playback 3/4; "
            "clock-source: Automatic; digital-output-format: Consumer (S/PDIF)");
  sim({"digital-input", "valid", "48000"});
  EXPECT_EQ(watch.readLine(),
            "changed effective-clock-source: digital input; digital-input: valid 48 kHz");
  EXPECT_EQ(run({"set", "digital-output-format", "1"}), 0) << errors_;
  EXPECT_EQ(watch.readLine(), "changed digital-output-format: Professional (AES3)");
  sim({"unplug"});
  EXPECT_EQ(watch.readLine(), "disconnected");
}

TEST_F(ControlTool, WatchShowsUnreportedSettingsAsUnknown) {
  startDriver();
  ChildProcess watch({VX310_CTL, "watch"}, environment());
  EXPECT_THAT(watch.readLine(), StartsWith("connected"));
  sim({"fault", "hang", "command", numberOf(kGetDigitalOutMode)});  // then come the routings
  sim({"digital-input", "valid", "48000"});
  EXPECT_EQ(watch.readLine(),
            "changed effective-clock-source: digital input; digital-input: valid 48 kHz; "
            "input-1-2: unknown; "
            "input-3-4: unknown; input-5-6: unknown; line-output: unknown; "
            "digital-output: unknown; clock-source: unknown; digital-output-format: unknown");
  driver().signal(SIGCONT);
}

TEST_F(ControlTool, WatchEndsWithStatus1WhenTheBusGoesAway) {
  startDriver();
  ChildProcess watch({VX310_CTL, "watch"}, environment());
  EXPECT_THAT(watch.readLine(), StartsWith("connected"));
  endBus();
  EXPECT_EQ(watch.wait(), 1);
  EXPECT_EQ(watch.readErrors(), "vx310ctl: the session bus has gone\n");
}

TEST_F(ControlTool, PlugAndUnplug) {
  startDriver({"--unplugged"});
  sim({"plug"});
  EXPECT_THAT(services(), SizeIs(1));
  sim({"unplug"});
  EXPECT_THAT(services(), IsEmpty());
}

TEST_F(ControlTool, PlugSecondPrintsTheNumberOfTheNewInterface) {
  startDriver();
  EXPECT_EQ(run({"sim", "plug", "--second"}), 0);
  EXPECT_EQ(output_, "1\n");
  EXPECT_THAT(services(), SizeIs(2));
  sim({"--interface", "1", "product-name", "Another"});
  EXPECT_EQ(run({"sim", "list"}), 0);
  EXPECT_EQ(output_, "0  plugged    VX-310\n1  plugged    Another\n");
}

TEST_F(ControlTool, SettingsChangeTheState) {
  startDriver();
  sim({"digital-input", "valid", "88200"});
  sim({"routing", "in", "0", "3"});
  sim({"driver-version", "0x01020300"});
  const std::string json = state();
  EXPECT_THAT(json, HasSubstr("\"sample_rate_hz\":88200"));
  EXPECT_THAT(json, HasSubstr("\"input_1_2\":\"loopback\""));
  EXPECT_THAT(json, HasSubstr("\"driver_version_word\":16909056"));
}

TEST_F(ControlTool, StateForPeopleHasALineForEachValue) {
  startDriver();
  EXPECT_EQ(run({"sim", "state"}), 0);
  EXPECT_THAT(output_, HasSubstr("\nusb: 2.0\n"));
  EXPECT_THAT(output_, StartsWith("plugged: true\n"));
}

TEST_F(ControlTool, NamesAreShownUnchanged) {
  startDriver();
  sim({"product-name", "\"Gr\u00fcn\" \\ 310"});
  EXPECT_EQ(run({"show", "--json"}), 0) << errors_;
  EXPECT_THAT(output_, HasSubstr("\"product_name\":\"\\\"Gr\u00fcn\\\" \\\\ 310\""));
  EXPECT_EQ(run({"sim", "state"}), 0) << errors_;
  EXPECT_THAT(output_, HasSubstr("\nproduct_name: \"Gr\u00fcn\" \\ 310\n"));
}

TEST_F(ControlTool, ControlCharactersInADriversTextsAreEscaped) {
  startDriver();
  sim({"product-name", "Gr\u00fcn\x1b[2J\n\x7f\u009b"});
  const std::string escaped = "Gr\u00fcn\\u001b[2J\\u000a\\u007f\\u009b\n";
  EXPECT_EQ(run({"list"}), 0) << errors_;
  EXPECT_THAT(output_, HasSubstr(escaped));
  EXPECT_EQ(run({"show"}), 0) << errors_;
  EXPECT_THAT(output_, HasSubstr(escaped));
}

TEST_F(ControlTool, WordsAfterASimCommandReachTheDriverUnchanged) {
  startDriver();
  for (const char* word : {"--help", "-h", "--json", "--interface", "--", "-1", "list", ""}) {
    sim({"product-name", word});
    EXPECT_THAT(state(), HasSubstr("\"product_name\":\"" + std::string(word) + "\""));
  }
}

TEST_F(ControlTool, AnInterfaceOrIndexMayBeHexadecimal) {
  startDriver({"--count", "2"});
  EXPECT_EQ(run({"show", "0x1"}), 0) << errors_;
  EXPECT_THAT(output_, HasSubstr("5D12000000000002"));
  EXPECT_EQ(run({"show", "--json", "1"}), 0) << errors_;
  EXPECT_THAT(output_, HasSubstr("5D12000000000002"));
  EXPECT_EQ(run({"show", "01"}), 0) << errors_;
  EXPECT_EQ(run({"show", "010"}), 4);
  EXPECT_THAT(errors_, HasSubstr("no interface 10"));
  sim({"--interface", "0x1", "unplug"});
  EXPECT_THAT(services(), SizeIs(1));
}

TEST_F(ControlTool, IdsAndClassReconnectTheInterface) {
  startDriver();
  sim({"ids", "0x7F21", "0x5D13"});
  EXPECT_EQ(services().begin()->second.numbers["idProduct"], 0x5D13);
  sim({"class", "orbek"});
  EXPECT_EQ(services().begin()->second.className, "LumKernelDeviceOrbekTalvo4");
}

TEST_F(ControlTool, NotifySendsTheNumber) {
  startDriver();
  sim({"notify", "48"});
  sim({"notify", "3", "--type", "7", "--size", "35"});
  catchUp();
  ASSERT_THAT(messages_, SizeIs(2));
  EXPECT_EQ(messages_[0].type, 0xe0000130u);
  EXPECT_EQ(messages_[0].argument[0], 36);
  EXPECT_EQ(messages_[0].argument[4], 48);
  EXPECT_EQ(messages_[1].type, 7u);
  EXPECT_EQ(messages_[1].argument[0], 35);
}

TEST_F(ControlTool, FaultsAreInjectedAndEnded) {
  startDriver();
  const auto connection = open(onlyService());
  sim({"fault", "short", "10", "always"});
  EXPECT_THAT(request(connection, VQ_Command::kGetCountConfigurations).bytes, SizeIs(10));
  sim({"fault", "none"});
  EXPECT_THAT(request(connection, VQ_Command::kGetCountConfigurations).bytes, SizeIs(260));
}

TEST_F(ControlTool, ABusThatDoesNotAnswerIsStatus1WithinSeconds) {
  const test_support::SilentBus bus;
  bus.enter();
  for (const Words& words : {Words{"list"}, Words{"show"}, Words{"sim", "state"}}) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(run(words), 1) << ::testing::PrintToString(words);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(4));
    EXPECT_EQ(errors_, "vx310ctl: the session bus does not answer\n");
  }
}

TEST_F(ControlTool, WithoutABusTheStatusIs1) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  for (const Words& words : {Words{"list"}, Words{"get"}, Words{"watch"}, Words{"sim", "state"}}) {
    EXPECT_EQ(run(words), 1) << ::testing::PrintToString(words);
    EXPECT_THAT(errors_, HasSubstr("cannot reach the session bus"));
  }
}

TEST_F(ControlTool, AFrozenDriverIsStatus1WithinTheLimit) {
  startDriver();
  driver().signal(SIGSTOP);
  for (const Words& words :
       {Words{"sim", "unplug"}, Words{"get"}, Words{"set", "line-output", "1"}, Words{"list"}}) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(run(words), 1) << words[0];
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(4)) << words[0];
    EXPECT_THAT(errors_, HasSubstr("does not answer")) << words[0];
  }
  driver().signal(SIGCONT);
}

}  // namespace
}  // namespace vx310ctl
