// SPDX-License-Identifier: MIT
// vx310ctl: looks at connected interfaces, and moves virtual ones, from a shell.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "platform/driver_waits/driver_waits.h"
#include "platform/posix/posix.h"
#include "protocol/numbers.h"
#include "tools/commands.h"

namespace {

using namespace vx310ctl;

constexpr const char* kToolUsage =
    "Usage: vx310ctl COMMAND\n"
    "Looks at the VX-310 interfaces that driver services publish, and moves virtual ones.\n"
    "\n"
    "  list                     list the connected interfaces with their indexes\n"
    "  show [--json] [INDEX]    show all that the interface with this index (default 0) reports\n"
    "  get [--json] [SETTING]   show one setting, or all, of the interface that the panel shows\n"
    "  set SETTING ITEM         set it, as a pick in the panel does, to an item's text or number\n"
    "  watch [--json]           show what happens to that interface, a line an event\n"
    "  sim COMMAND              move a virtual interface; see 'vx310ctl sim --help'\n"
    "  -h, --help               show this help and exit\n"
    "  --version                show the version and exit\n"
    "\n"
    "Settings: input-1-2, input-3-4, input-5-6, line-output, digital-output, clock-source and\n"
    "digital-output-format. 'set' with an unknown item lists the items. What it changes lasts\n"
    "until the panel finds the interface the next time and sets the choices that were made in it;\n"
    "routings are also lost when the driver restarts, which starts with the clock source and the\n"
    "output format that were set last.\n"
    "\n"
    "'watch' also waits for a driver to come. It ends when it is interrupted, or with status 1\n"
    "when the session bus goes away.\n"
    "\n"
    "Each request to an interface waits at most 250 milliseconds for its driver.\n"
    "\n"
    "Exit status:\n"
    "  0  done\n"
    "  1  the interface or its driver refused, failed or did not answer in time, the choice could\n"
    "     not be stored, the session bus cannot be reached, or the output cannot be written\n"
    "  2  the command line is wrong\n"
    "  3  no driver service is running\n"
    "  4  there is no such interface\n";

// The command line, declared and then parsed. The errors are explained here, in the tool's words.
class CommandLine {
 public:
  CommandLine() {
    tool_.require_subcommand(0, 1);
    tool_.allow_extras();  // named below; those of a command are errors
    tool_.set_version_flag("--version", "vx310ctl " VX310_VERSION);
    show_->add_option("INDEX", index_);
    get_->add_option("SETTING", setting_);
    set_->add_option("SETTING", setting_)->required();
    set_->add_option("ITEM", item_)->required();
    for (CLI::App* command : {show_, get_, watch_}) command->add_flag("--json", json_);
    sim_->add_option("--interface", interface_);
    sim_->prefix_command();  // the driver parses what follows
  }

  ExitStatus run(int count, const char* const* words) {
    try {
      tool_.parse(count, words);
    } catch (const CLI::CallForHelp&) {
      std::fputs(sim_->parsed() ? kSimUsage : kToolUsage, stdout);
      return kDone;
    } catch (const CLI::CallForVersion& version) {
      std::puts(version.what());
      return kDone;
    } catch (const CLI::Error&) {
      understood_ = false;
    }
    const auto extras = tool_.remaining();
    if (!extras.empty()) return wrong("there is no command '" + extras[0] + "'");
    return sim_->parsed() ? runSimCommand() : runCommand();
  }

 private:
  ExitStatus runCommand() const {
    const auto index = parseNumber(index_);
    if (watch_->parsed()) return understood_ ? runWatch(json_) : wrong("'watch' takes [--json]");
    driverWaits().unlimit();  // these commands have nothing else to do
    if (list_->parsed()) return understood_ ? runList() : wrong("'list' takes nothing");
    if (show_->parsed()) {
      return understood_ && index ? runShow(json_, *index) : wrong("'show' takes [--json] [INDEX]");
    }
    if (get_->parsed()) {
      return understood_ ? runGet(json_, setting_) : wrong("'get' takes [--json] [SETTING]");
    }
    if (set_->parsed()) {
      return understood_ ? runSet(*setting_, item_)
                         : wrong("'set' takes a setting and an item's text or number");
    }
    return wrong("a command is missing");
  }

  ExitStatus runSimCommand() const {
    const auto interface = understood_ ? parseNumber(interface_) : std::nullopt;
    const auto words = sim_->remaining();
    if (!interface) return wrong("--interface takes a number", "vx310ctl sim");
    if (words.empty()) return wrong("'sim' needs a command", "vx310ctl sim");
    return runSim(*interface, words);
  }

  CLI::App tool_;
  CLI::App* list_ = tool_.add_subcommand("list");
  CLI::App* show_ = tool_.add_subcommand("show");
  CLI::App* get_ = tool_.add_subcommand("get");
  CLI::App* set_ = tool_.add_subcommand("set");
  CLI::App* watch_ = tool_.add_subcommand("watch");
  CLI::App* sim_ = tool_.add_subcommand("sim");

  bool understood_ = true;
  bool json_ = false;
  std::string index_ = "0";
  std::optional<std::string> setting_;
  std::string item_;
  std::string interface_ = "0";
};

}  // namespace

int main(int count, char** words) {
  openStandardDescriptors();
  const ExitStatus status = CommandLine().run(count, words);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  std::fputs("vx310ctl: the output cannot be written\n", stderr);
  return kFailed;
}
