// SPDX-License-Identifier: MIT
// The commands of vx310ctl, and what they have in common.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace vx310ctl {

struct Choice;

enum ExitStatus {
  kDone = 0,
  kFailed = 1,       // the interface or its driver refused, or could not be read
  kUsage = 2,        // the command line is wrong
  kNoDriver = 3,     // no driver service is running
  kNoInterface = 4,  // no such interface
  kFault = 5,        // the doctor has found a fault
  kDifferent = 5,    // diff has found a difference
  kWarning = 6       // the doctor has found nothing worse than a warning
};

// Each explains a failure on standard error.

// The connected interfaces, and all that one of them reports.
ExitStatus runList(bool json);
ExitStatus runShow(bool json, std::uint32_t index);

// Prints one setting of the panel's interface, or for null all of them.
ExitStatus runGet(bool json, const Choice* wanted);

// Sets one to an item, as a pick in the panel does, and checks that the interface took it.
ExitStatus runSet(const Choice& choice, std::int32_t item);

// Says on standard error why no routing can be set: the audio server has no device of the
// interface.
void explainAudioDevice();

// A preset is the interface's settings in a file; "-" is standard output or input. Nothing is
// changed before the whole file was found to be right. runDiff prints what restoring would change,
// and ends with kDifferent when that is something. runUndo restores what was before the last
// restore.
ExitStatus runSave(const std::string& file);
ExitStatus runDiff(bool json, const std::string& file);
ExitStatus runRestore(const std::string& file);
ExitStatus runUndo();

// Prints a line for each event of the panel's interface until it is ended from outside; kFailed
// when the session bus cannot be reached or goes away, or the output cannot be written.
ExitStatus runWatch(bool json);

// Shows the channels' levels ten times a second until it is ended from outside; kNoInterface when
// the interface leaves, kFailed as runWatch().
ExitStatus runLevels(bool json);

// Prints what is wrong with what the panel needs, and what to do; kDone, kWarning or kFault by the
// worst. `redact` hides paths and the names of people.
ExitStatus runDoctor(bool json, bool redact);

// Sends the words to the driver, which parses them, and prints what it replies.
ExitStatus runSim(std::uint32_t interface, const std::vector<std::string>& words);

// The words that may follow these after `vx310ctl sim`, as the help of the running driver has them;
// empty when no driver answers at once.
std::vector<std::string> simWords(const std::vector<std::string>& before);

// The text with its control characters escaped ("\u001b"), so that a driver's texts can move no
// cursor and end no line.
std::string printable(std::string_view text);

// Some of the panel's texts end in a space.
std::string withoutSpacesAtEnd(std::string text);

// "NAME:" and the text, made printable, in a column of its own, with the end of the line.
std::string lineOf(std::string_view name, std::string_view text);

// An object with the schema's number and the members of `object` as JSON, with the end of the line:
// one line, or with `indent` a line for each member. Bytes that are no UTF-8 become U+FFFD.
std::string jsonText(const nlohmann::ordered_json& object, int indent = -1);
void printJson(const nlohmann::ordered_json& object);

}  // namespace vx310ctl
