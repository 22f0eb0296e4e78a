// SPDX-License-Identifier: MIT
#include "platform/command_line/description.h"

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// A program with each kind of word.
class Description : public ::testing::Test {
 protected:
  Description() {
    program_.set_version_flag("--version", "robot 1");
    CLI::App* move = program_.add_subcommand("move", "Move an arm");
    move->add_option("--speed", speed_, "The speed in mm/s");
    move->add_option("ARM", arm_, "The arm's name")->required();
    move->add_option("PLACE", place_, "Where to");
    move->footer("Arms:\nleft: two fingers\nright\n\nArms move\none at a time.");
    CLI::App* paint = program_.add_subcommand("paint", "Paint a picture");
    paint->add_option("COLOUR", place_, "The colour");
    paint->add_option("FILE", place_, "The picture");
    program_.add_subcommand("secret", "Not for people")->group("");
    CLI::App* shout = program_.add_subcommand("shout", "Say words");
    shout->prefix_command();
    program_.footer("Exit status:\n0  done\n'.\\-");
  }

  std::string complete(const std::vector<std::string>& words) {
    return completions(program_, words,
                       [](const CLI::App&, const std::string& value, const auto& before) {
                         std::vector<std::string> found;
                         if (value == "ARM") found = {"left", "upper right"};
                         if (value == "PLACE") found = {"above " + before.back()};
                         if (value == "WORD" && before.empty()) found = {"loud"};
                         if (value == "WORD" && !before.empty()) {
                           found = {"louder than " + before.back()};
                         }
                         return found;
                       });
  }

  CLI::App program_{"Moves arms.", "robot"};
  int speed_ = 0;
  std::string arm_;
  std::string place_;
};

TEST_F(Description, TheFirstWordIsACommandThatIsNotHidden) {
  EXPECT_EQ(complete({""}), "move\tMove an arm\npaint\tPaint a picture\nshout\tSay words\n");
  EXPECT_EQ(complete({"pa"}), complete({""}));
  EXPECT_EQ(complete({}), "");
}

TEST_F(Description, AWordWithADashIsAnOptionOfItsCommand) {
  EXPECT_EQ(complete({"-"}),
            "-h\tPrint this help message and exit\n--help\tPrint this help message and exit\n"
            "--version\tDisplay program version information and exit\n");
  EXPECT_THAT(complete({"move", "left", "--"}), HasSubstr("--speed\tThe speed in mm/s\n"));
}

TEST_F(Description, AValueOfAnOptionIsNoPositionalWord) {
  EXPECT_EQ(complete({"move", "--speed", ""}), "");
  EXPECT_EQ(complete({"move", "--speed", "3", ""}), "left\nupper right\n");
}

TEST_F(Description, APositionalWordMayDependOnTheOneBefore) {
  EXPECT_EQ(complete({"move", ""}), "left\nupper right\n");
  EXPECT_EQ(complete({"move", "upper right", ""}), "above upper right\n");
  EXPECT_EQ(complete({"move", "left", "there", ""}), "");
}

TEST_F(Description, FilesComeFromTheShell) {
  EXPECT_EQ(complete({"paint", ""}), "");
  EXPECT_EQ(complete({"paint", "red", ""}), ":files\n");
}

TEST_F(Description, TheProgramKnowsTheWordsOfAPrefixCommand) {
  EXPECT_EQ(complete({"shout", ""}), "loud\n");
  EXPECT_EQ(complete({"shout", "move", ""}), "louder than move\n");
  EXPECT_EQ(complete({"shout", "move", "-"}), "louder than move\n");
  EXPECT_THAT(complete({"shout", "-"}), HasSubstr("--help\t"));
}

TEST_F(Description, TheManualPageHasProgramCommandsAndOptions) {
  const std::string page = manualPage(program_, "2.5");
  EXPECT_THAT(page, HasSubstr(".TH ROBOT 1 \"\" \"robot 2.5\"\n"));
  EXPECT_THAT(page, HasSubstr(".SH NAME\nrobot \\- moves arms\n"));
  EXPECT_THAT(page, HasSubstr("\\fBrobot move\\fR [\\fB\\-\\-speed\\fR \\fIINT\\fR] \\fIARM\\fR "
                              "[\\fIPLACE\\fR]\n.br\n"));
  EXPECT_THAT(page, HasSubstr("\n.TP\n\\fB\\-\\-speed\\fR \\fIINT\\fR\nThe speed in mm/s.\n"));
  EXPECT_THAT(page, HasSubstr("\n.TP\n\\fB\\-h\\fR, \\fB\\-\\-help\\fR\n"));
  EXPECT_THAT(page, HasSubstr("\\fBrobot shout\\fR \\fIWORD\\fR...\n"));
  EXPECT_THAT(page, Not(HasSubstr("secret")));
}

TEST_F(Description, AParagraphWhoseFirstLineEndsInAColonIsAListInTheManualPage) {
  const std::string page = manualPage(program_, "2.5");
  EXPECT_THAT(page, HasSubstr(".PP\nArms:\n.EX\nleft: two fingers\nright\n.EE\n"
                              ".PP\nArms move\none at a time.\n"));
  EXPECT_THAT(page, HasSubstr(".PP\nExit status:\n.EX\n0  done\n\\&'.\\e\\-\n.EE\n"));
}

}  // namespace
