// SPDX-License-Identifier: MIT
// The command lines of the programs, with CLI11. No seam: the logic includes none of this.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

inline constexpr int kExitUsage = 2;

// For completion by shells: the words that an option's value or a positional of that name can be,
// `before` being the positional words that stand before it. Words after a prefix_command() have the
// name kWordOfPrefixCommand.
using WordsOfValue = std::function<std::vector<std::string>(
    const CLI::App& program, const std::string& name, const std::vector<std::string>& before)>;

inline constexpr const char* kWordOfPrefixCommand = "WORD";

// Parses a command line. `declare` adds the program's options and sub-commands to those of every
// program, --help and --version; sub-commands with a callback run in here. The word "help" right
// after the program or a sub-command counts as --help, but for sub-commands with a
// prefix_command().
//
// nullopt when the program goes on. Otherwise its exit status: 0 after help or version, kExitUsage
// after an error in it, 1 after an exception of `declare` or a callback or when the help could not
// be written, each explained on standard error. Two first words are for machines, and 0 too:
// --man-page prints the manual page, --complete what can stand in place of the last of the words
// after it (see description.h).
std::optional<int> parseCommandLine(const std::string& name, const std::string& description,
                                    int count, const char* const* words,
                                    const std::function<void(CLI::App& program)>& declare,
                                    const WordsOfValue& wordsOfValue = {});

// The version of this project's programs.
const char* programVersion();

// Writes out standard output. Returns `status`, or 1 after an explanation on standard error when
// something that was printed could not be written.
int finishOutput(const std::string& name, int status);

// For an option's transform(): takes a number as parseNumber() does, which CLI11 alone would read
// as octal after a leading 0, and as 0 when it is empty.
CLI::Validator numberUpTo(std::uint32_t largest = std::numeric_limits<std::uint32_t>::max());
