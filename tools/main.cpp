// SPDX-License-Identifier: MIT
// vx310ctl: looks at connected interfaces, and moves virtual ones, from a shell.
#include <csignal>
#include <cstdio>

#include "platform/command_line/command_line.h"
#include "platform/driver_waits/driver_waits.h"
#include "platform/posix/posix.h"
#include "tools/choices.h"
#include "tools/commands.h"

namespace {

using namespace vx310ctl;

constexpr const char* kFooter =
    "Each request to an interface waits at most 250 milliseconds for its driver.\n"
    "\n"
    "Exit status:\n"
    "0  done\n"
    "1  the interface or its driver refused, failed or did not answer in time, the choice\n"
    "   could not be stored, the session bus cannot be reached, or the output cannot be written\n"
    "2  the command line is wrong\n"
    "3  no driver service is running\n"
    "4  there is no such interface\n"
    "5  the doctor has found a fault, or diff a difference\n"
    "6  the doctor has found nothing worse than a warning";

constexpr const char* kSetFooter =
    "\n\n"
    "What is set lasts until the panel finds the interface the next time and sets the choices\n"
    "that were made in it. Routings are also lost when the driver restarts, which starts with\n"
    "the clock source and the output format that were set last.";

// Returns what is wrong with a setting's name; empty when there is such a setting.
std::string checkSetting(const std::string& name) {
  if (findChoice(name)) return {};
  std::string problem = "there is no setting '" + name + "'; the settings are:";
  for (const Choice& choice : choices()) problem += "\n  " + std::string(choice.name);
  return problem;
}

// Turns one of the setting's items into its number. Returns what is wrong with it.
std::string checkItem(const std::string& setting, std::string& item) {
  const Choice& choice = *findChoice(setting);
  if (const auto found = findItem(choice, item)) {
    item = std::to_string(*found);
    return {};
  }
  std::string problem = "'" + item + "' is no item of " + setting + "; the items are:";
  for (std::size_t i = 0; i < choice.items.size(); ++i) {
    problem += "\n  " + std::to_string(i) + "  " + std::string(choice.items[i]);
  }
  return problem;
}

// What the words of a command mean.
struct Values {
  bool json = false;
  std::uint32_t index = 0;
  std::string setting;
  std::int32_t item = 0;
  std::uint32_t interface = 0;
  std::string topic;
  std::string simCommand;
  bool redact = false;
  std::string file;
  bool undo = false;
};

CLI::App* addCommand(CLI::App& tool, const char* name, const char* description,
                     const std::function<void()>& run) {
  CLI::App* command = tool.add_subcommand(name, description);
  command->callback(run);
  return command;
}

void declareJson(CLI::App* command, Values& values) {
  command->add_flag("--json", values.json, "Print JSON");
}

CLI::Option* declareSetting(CLI::App* command, Values& values) {
  std::string footer = "Settings and items:";
  for (const Choice& choice : choices()) {
    footer += "\n" + std::string(choice.name) + ": ";
    for (const auto& item : choice.items) {
      if (&item != &choice.items.front()) footer += ", ";
      footer += item;
    }
  }
  command->footer(footer);
  return command->add_option("SETTING", values.setting, "The setting's name")
      ->check(CLI::Validator([](const std::string& name) { return checkSetting(name); }, ""));
}

void declareCommands(CLI::App& tool, Values& values, ExitStatus& status) {
  CLI::App* list = addCommand(tool, "list", "List the connected interfaces with their indexes",
                              [&] { status = runList(values.json); });
  declareJson(list, values);
  CLI::App* show = addCommand(tool, "show", "Show all that an interface reports",
                              [&] { status = runShow(values.json, values.index); });
  declareJson(show, values);
  show->add_option("INDEX", values.index, "The interface's index in the list (default 0)")
      ->transform(numberUpTo());

  CLI::App* get =
      addCommand(tool, "get", "Show one setting, or all, of the interface that the panel shows",
                 [&] { status = runGet(values.json, findChoice(values.setting)); });
  declareJson(get, values);
  declareSetting(get, values);

  CLI::App* set = addCommand(tool, "set", "Set a setting, as a pick in the panel does",
                             [&] { status = runSet(*findChoice(values.setting), values.item); });
  declareSetting(set, values)->required();
  set->add_option("ITEM", values.item, "An item's text, word in JSON or number from 0")
      ->type_name("")
      ->required()
      ->transform(CLI::Validator(
          [&values](std::string& item) { return checkItem(values.setting, item); }, ""));
  set->footer(set->get_footer() + kSetFooter);

  CLI::App* watch =
      addCommand(tool, "watch", "Print a line for each event of the interface that the panel shows",
                 [&] { status = runWatch(values.json); });
  declareJson(watch, values);
  watch->footer(
      "It also waits for a driver to come. It ends when it is interrupted, or with status 1 when\n"
      "the session bus goes away or nobody reads its output any more.");

  CLI::App* levels =
      addCommand(tool, "levels", "Show the levels of the interface's channels, until it is ended",
                 [&] { status = runLevels(values.json); });
  declareJson(levels, values);
  levels->footer(
      "Ten times a second: the peak of each channel since the reading before, in dBFS. Meters on "
      "a\n"
      "terminal, otherwise a line for each reading. Another program that reads the levels takes\n"
      "some of the peaks. It ends when it is interrupted, with status 4 when the interface "
      "leaves,\n"
      "and with status 1 when the session bus goes away or nobody reads its output any more.");
}

void declarePresets(CLI::App& tool, Values& values, ExitStatus& status) {
  constexpr const char* kFileHelp = "The preset's file; - for standard ";
  CLI::App* save = addCommand(tool, "save", "Save the settings as a preset in a file",
                              [&] { status = runSave(values.file); });
  save->add_option("FILE", values.file, std::string(kFileHelp) + "output")->required();

  CLI::App* diff = addCommand(tool, "diff", "Show what restoring a preset would change",
                              [&] { status = runDiff(values.json, values.file); });
  declareJson(diff, values);
  diff->add_option("FILE", values.file, std::string(kFileHelp) + "input")->required();
  diff->footer("Exit status 5 when it would change something.");

  CLI::App* restore = tool.add_subcommand("restore", "Set the settings of a preset");
  const CLI::Option* file =
      restore->add_option("FILE", values.file, std::string(kFileHelp) + "input");
  restore->callback([&values, &status, file] {
    if (values.undo == (file->count() > 0)) throw CLI::RequiredError("Either FILE or --undo");
    status = values.undo ? runUndo() : runRestore(values.file);
  });
  restore->add_flag("--undo", values.undo, "Set what was before the last restore");
  restore->footer(
      "It prints what it changes. Nothing is changed when something is wrong with the file. What\n"
      "is restored counts as chosen in the panel: the panel keeps it, and sets it whenever it\n"
      "finds the interface.");
}

void declareDoctor(CLI::App& tool, Values& values, ExitStatus& status) {
  CLI::App* doctor =
      addCommand(tool, "doctor", "Check all that the panel needs, and say what to do",
                 [&] { status = runDoctor(values.json, values.redact); });
  declareJson(doctor, values);
  doctor->add_flag("--redact", values.redact, "Hide paths and the names of people");
  doctor->footer(
      "It changes and starts nothing, and needs neither a driver nor PipeWire nor a session bus.\n"
      "Its requests use up faults that 'vx310ctl sim fault' set for the next ones.\n"
      "Exit status: 0 when all is well, 6 when the worst is a warning, 5 when it is a fault.");
}

// As the driver reads the words. Two of its settings are any text.
bool asksForHelp(const std::vector<std::string>& words) {
  if (words.size() == 2 && (words[0] == "product-name" || words[0] == "firmware-date"))
    return false;
  return words.front() == "help" || words.back() == "--help" || words.back() == "-h" ||
         (words.size() == 2 && words[1] == "help");
}

// Without a driver, which knows its own commands, the help is that of sim.
ExitStatus callSim(const CLI::App& sim, std::uint32_t interface,
                   const std::vector<std::string>& words) {
  const ExitStatus status = runSim(interface, words);
  if (status != kNoDriver || !asksForHelp(words)) return status;
  std::fputs(sim.help("vx310ctl").c_str(), stdout);
  return kDone;
}

void declareSim(CLI::App& tool, Values& values, ExitStatus& status) {
  CLI::App* sim = tool.add_subcommand("sim", "Move a virtual interface; see 'vx310ctl sim help'");
  sim->prefix_command();  // the driver parses what follows
  sim->add_option("--interface", values.interface, "The virtual interface's number (default 0)")
      ->transform(numberUpTo());
  sim->footer(
      "'vx310ctl sim help' prints the commands of the running driver service. Every call waits at\n"
      "most 2 seconds for it.");
  sim->callback([&values, &status, sim] {
    const auto words = sim->remaining();
    if (words.empty()) throw CLI::RequiredError("A command (see 'vx310ctl sim help')");
    status = callSim(*sim, values.interface, words);
  });
}

constexpr const char* kCommandOfSim = "SIM-COMMAND";

void declareHelp(CLI::App& tool, Values& values, ExitStatus& status) {
  CLI::App* help = addCommand(tool, "help", "Print the help of vx310ctl or of a command", [&] {
    if (values.topic.empty()) tool.parse("--help");  // throws the call for help
    const CLI::App& command = *tool.get_subcommand(values.topic);
    if (values.simCommand.empty()) {
      std::fputs(command.help(tool.get_name()).c_str(), stdout);
    } else if (values.topic == "sim") {
      status = callSim(command, 0, {"help", values.simCommand});
    } else {
      throw CLI::ExtrasError(tool.get_name(), {values.simCommand});
    }
  });
  help->add_option("COMMAND", values.topic, "One of the commands");
  help->add_option(kCommandOfSim, values.simCommand, "One of the commands of sim");
}

// The words that complete a value on the command line.
std::vector<std::string> wordsOfValue(const CLI::App& tool, const std::string& value,
                                      const std::vector<std::string>& before) {
  std::vector<std::string> words;
  if (value == "SETTING") {
    for (const Choice& choice : choices()) words.emplace_back(choice.name);
  } else if (value == "ITEM" && findChoice(before.back())) {
    for (const auto& item : findChoice(before.back())->items) words.emplace_back(item);
  } else if (value == kWordOfPrefixCommand) {
    words = simWords(before);
  } else if (value == kCommandOfSim && before == std::vector<std::string>{"sim"}) {
    words = simWords({});
  } else if (value == "COMMAND") {
    for (const CLI::App* command : tool.get_subcommands({})) words.push_back(command->get_name());
  }
  return words;
}

}  // namespace

int main(int count, char** words) {
  openStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN);  // a reader that has gone is an error, which is explained
  Values values;
  ExitStatus status = kDone;
  const auto ended = parseCommandLine(
      "vx310ctl",
      "Looks at the VX-310 interfaces that driver services publish, and moves virtual ones.", count,
      words,
      [&](CLI::App& tool) {
        tool.require_subcommand(0, 1);
        tool.parse_complete_callback([&tool] {  // comes before the commands' callbacks
          if (tool.get_subcommands().empty()) throw CLI::RequiredError("A command");
          // A command that ends has no window to keep up: it waits for each of its calls.
          if (!tool.got_subcommand("watch")) driverWaits().unlimit();
        });
        declareCommands(tool, values, status);
        declarePresets(tool, values, status);
        declareDoctor(tool, values, status);
        declareSim(tool, values, status);
        declareHelp(tool, values, status);
        tool.footer(kFooter);  // the last: commands would take it over
      },
      wordsOfValue);
  return ended ? *ended : finishOutput("vx310ctl", status);
}
