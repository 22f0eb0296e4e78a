// SPDX-License-Identifier: MIT
#include "platform/command_line/command_line.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

#include "platform/command_line/description.h"
#include "protocol/numbers.h"

namespace {

// `program` is the one that was called, and has the sub-commands that were parsed.
std::string explanation(const CLI::App* program, const CLI::Error& error) {
  std::string command = program->get_name();
  for (const CLI::App* parsed : program->get_subcommands()) command += " " + parsed->get_name();
  return program->get_name() + ": " + error.what() + "\nTry '" + command + " --help'.\n";
}

// Makes writing to a reader that has gone an error, which finishOutput() explains.
void explainGoneReaders() { std::signal(SIGPIPE, SIG_IGN); }

// The words after the program's name, last first as CLI11 takes them, with --help for "help".
std::vector<std::string> wordsOf(const CLI::App* command, int count, const char* const* words) {
  std::vector<std::string> all(words + 1, words + std::max(count, 1));
  for (std::string& word : all) {
    const auto named =
        command->get_subcommands([&word](const CLI::App* app) { return app->check_name(word); });
    if (named.empty()) {
      if (word == "help" && !command->get_prefix_command()) word = "--help";
      break;
    }
    command = named.front();
  }
  std::ranges::reverse(all);
  return all;
}

}  // namespace

std::optional<int> parseCommandLine(const std::string& name, const std::string& description,
                                    int count, const char* const* words,
                                    const std::function<void(CLI::App& program)>& declare,
                                    const WordsOfValue& wordsOfValue) {
  try {
    CLI::App program(description, name);
    program.set_version_flag("--version", name + " " + programVersion());
    program.failure_message(explanation);
    program.option_defaults()->disable_flag_override();  // "--json=no" is a mistake
    try {
      declare(program);
      if (const auto text = descriptionFor(program, VX310_VERSION, count, words, wordsOfValue)) {
        explainGoneReaders();
        std::fputs(text->c_str(), stdout);
        return finishOutput(name, 0);
      }
      program.parse(wordsOf(&program, count, words));
    } catch (const CLI::Error& error) {
      explainGoneReaders();
      return program.exit(error) == 0 ? finishOutput(name, 0) : kExitUsage;
    }
    return std::nullopt;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), error.what());
    return EXIT_FAILURE;
  }
}

const char* programVersion() { return VX310_VERSION; }

int finishOutput(const std::string& name, int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  std::fprintf(stderr, "%s: the output cannot be written\n", name.c_str());
  return EXIT_FAILURE;
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
