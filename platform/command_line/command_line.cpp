// SPDX-License-Identifier: MIT
#include "platform/command_line/command_line.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "platform/command_line/description.h"
#include "protocol/numbers.h"

namespace {

// `program` is the one that was called, and has the sub-commands that were parsed.
std::string explanation(const CLI::App* program, const CLI::Error& error) {
  std::string command = program->get_name();
  for (const CLI::App* parsed : program->get_subcommands()) command += " " + parsed->get_name();
  return program->get_name() + ": " + error.what() + "\nTry '" + command + " --help'.\n";
}

}  // namespace

std::optional<int> parseCommandLine(const std::string& name, const std::string& description,
                                    int count, const char* const* words,
                                    const std::function<void(CLI::App& program)>& declare,
                                    const WordsOfValue& wordsOfValue) {
  try {
    CLI::App program(description, name);
    program.set_version_flag("--version", name + " " + VX310_VERSION);
    program.failure_message(explanation);
    try {
      declare(program);
      if (const auto text = descriptionFor(program, VX310_VERSION, count, words, wordsOfValue)) {
        std::fputs(text->c_str(), stdout);
        return 0;
      }
      program.parse(count, words);
    } catch (const CLI::Error& error) {
      return program.exit(error) == 0 ? 0 : kExitUsage;
    }
    return std::nullopt;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), error.what());
    return EXIT_FAILURE;
  }
}

CLI::Validator numberUpTo(std::uint32_t largest) {
  return {[largest](std::string& word) {
            const auto number = parseNumber(word, largest);
            if (!number) return "'" + word + "' is no number up to " + std::to_string(largest);
            word = std::to_string(*number);
            return std::string();
          },
          ""};
}
