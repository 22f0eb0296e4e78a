// SPDX-License-Identifier: MIT
#include "platform/command_line/description.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

namespace {

using Options = std::vector<const CLI::Option*>;

Options optionsOf(const CLI::App& command, bool positional) {
  return command.get_options([positional](const CLI::Option* option) {
    return option->get_positional() == positional && !option->get_group().empty();
  });
}

std::vector<const CLI::App*> commandsOf(const CLI::App& program) {
  return program.get_subcommands(
      [](const CLI::App* command) { return !command->get_group().empty(); });
}

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

// As they are typed, the short ones first.
std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

// Manual pages -----------------------------------------------------------------------------------

// The text as roff prints it literally.
std::string literal(std::string_view text) {
  std::string result;
  for (const char character : text) {
    const bool startsLine = result.empty() || result.back() == '\n';
    if (startsLine && (character == '.' || character == '\'')) result += "\\&";
    if (character == '\\') {
      result += "\\e";
    } else if (character == '-') {
      result += "\\-";
    } else {
      result += character;
    }
  }
  return result;
}

std::string bold(std::string_view text) { return "\\fB" + literal(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + literal(text) + "\\fR"; }

// What stands after the program's name to call the command.
std::string usageOf(const CLI::App& command) {
  std::string usage;
  for (const CLI::Option* option : optionsOf(command, false)) {
    if (option == command.get_help_ptr()) continue;
    usage += " [" + bold(namesOf(*option).back());
    if (takesValue(*option)) usage += " " + italic(option->get_type_name());
    usage += "]";
  }
  for (const CLI::Option* option : optionsOf(command, true)) {
    const std::string name = italic(option->get_name());
    usage += option->get_required() ? " " + name : " [" + name + "]";
  }
  if (command.get_prefix_command()) usage += " " + italic(kWordOfPrefixCommand) + "...";
  return usage;
}

std::string listOf(const Options& options) {
  std::string page;
  for (const CLI::Option* option : options) {
    page += ".TP\n";
    if (option->get_positional()) {
      page += italic(option->get_name());
    } else {
      std::string names;
      for (const std::string& name : namesOf(*option)) {
        names += (names.empty() ? "" : ", ") + bold(name);
      }
      page += names;
      if (takesValue(*option)) page += " " + italic(option->get_type_name());
    }
    page += "\n" + literal(option->get_description()) + ".\n";
  }
  return page;
}

// The paragraphs of a command's last words. One whose first line ends in a colon is a list.
std::string paragraphsOf(const std::string& text) {
  std::string page;
  std::istringstream lines(text);
  std::string line;
  bool inParagraph = false;
  bool inList = false;
  const auto end = [&] {
    if (inList) page += ".EE\n";
    inParagraph = inList = false;
  };
  while (std::getline(lines, line)) {
    if (line.empty()) {
      end();
      continue;
    }
    if (!inParagraph) page += ".PP\n";
    page += literal(line) + "\n";
    if (!inParagraph && line.ends_with(':')) {
      page += ".EX\n";
      inList = true;
    }
    inParagraph = true;
  }
  end();
  return page;
}

// Completion -------------------------------------------------------------------------------------

std::string lineOf(const std::string& word, const std::string& description) {
  return description.empty() ? word + "\n" : word + "\t" + description + "\n";
}

std::string valuesOf(const CLI::App& program, const std::string& name,
                     const std::vector<std::string>& before, const WordsOfValue& wordsOfValue) {
  if (name.find("FILE") != name.npos) return lineOf(kCompletedByFiles, "");
  std::string lines;
  if (!wordsOfValue) return lines;
  for (const std::string& word : wordsOfValue(program, name, before)) lines += lineOf(word, "");
  return lines;
}

// A command line up to the word that is being completed.
struct Place {
  const CLI::App* command = nullptr;
  const CLI::Option* option = nullptr;   // whose value comes next
  std::vector<std::string> before = {};  // the command's positional words
};

Place placeAfter(const CLI::App& program, const std::vector<std::string>& words) {
  Place place{.command = &program};
  for (const std::string& word : words) {
    if (place.option) {
      place.option = nullptr;
      continue;
    }
    if (word.starts_with('-')) {
      const CLI::Option* option = place.command->get_option_no_throw(word);
      if (option && takesValue(*option)) place.option = option;
      continue;
    }
    const auto commands = place.command->get_subcommands(
        [&word](const CLI::App* command) { return command->check_name(word); });
    if (commands.empty() || !place.before.empty()) {
      place.before.push_back(word);
    } else {
      place.command = commands.front();
    }
  }
  return place;
}

}  // namespace

std::optional<std::string> descriptionFor(const CLI::App& program, const std::string& version,
                                          int count, const char* const* words,
                                          const WordsOfValue& wordsOfValue) {
  const std::string_view first = count > 1 ? words[1] : "";
  if (first == "--man-page") return manualPage(program, version);
  if (first == "--complete") {
    return completions(program, {words + 2, words + count}, wordsOfValue);
  }
  return std::nullopt;
}

std::string manualPage(const CLI::App& program, const std::string& version) {
  const std::string& name = program.get_name();
  std::string title = name;
  std::ranges::transform(title, title.begin(), [](unsigned char c) { return std::toupper(c); });
  std::string purpose = program.get_description();
  purpose.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(purpose.front())));
  if (purpose.ends_with('.')) purpose.pop_back();

  std::string page = ".TH " + title + " 1 \"\" \"" + name + " " + version + "\"\n";
  page += ".SH NAME\n" + literal(name) + " \\- " + literal(purpose) + "\n.SH SYNOPSIS\n";
  const auto commands = commandsOf(program);
  if (commands.empty()) page += bold(name) + usageOf(program) + "\n";
  for (const CLI::App* command : commands) {
    page += bold(name + " " + command->get_name()) + usageOf(*command) + "\n.br\n";
  }
  page += ".SH DESCRIPTION\n" + literal(program.get_description()) + "\n";
  page += paragraphsOf(program.get_footer());
  page += ".SH OPTIONS\n" + listOf(optionsOf(program, true)) + listOf(optionsOf(program, false));
  if (!commands.empty()) page += ".SH COMMANDS\n";
  for (const CLI::App* command : commands) {
    page += ".SS " + bold(command->get_name()) + usageOf(*command) + "\n";
    page += literal(command->get_description()) + ".\n";
    page += listOf(optionsOf(*command, true));
    Options options = optionsOf(*command, false);
    std::erase(options, command->get_help_ptr());
    page += listOf(options) + paragraphsOf(command->get_footer());
  }
  return page;
}

std::string completions(const CLI::App& program, const std::vector<std::string>& words,
                        const WordsOfValue& wordsOfValue) {
  if (words.empty()) return {};
  const Place place = placeAfter(program, {words.begin(), words.end() - 1});
  if (place.option) {
    return valuesOf(program, place.option->get_type_name(), place.before, wordsOfValue);
  }
  const bool isPrefix = place.command->get_prefix_command();
  if (isPrefix && !place.before.empty()) {
    return valuesOf(program, kWordOfPrefixCommand, place.before, wordsOfValue);
  }
  std::string lines;
  if (words.back().starts_with('-')) {
    for (const CLI::Option* option : optionsOf(*place.command, false)) {
      for (const std::string& name : namesOf(*option))
        lines += lineOf(name, option->get_description());
    }
    return lines;
  }
  if (place.before.empty()) {
    for (const CLI::App* command : commandsOf(*place.command)) {
      lines += lineOf(command->get_name(), command->get_description());
    }
  }
  const Options positionals = optionsOf(*place.command, true);
  if (place.before.size() < positionals.size()) {
    const std::string& name = positionals[place.before.size()]->get_name();
    lines += valuesOf(program, name, place.before, wordsOfValue);
  } else if (isPrefix) {
    lines += valuesOf(program, kWordOfPrefixCommand, place.before, wordsOfValue);
  }
  return lines;
}
