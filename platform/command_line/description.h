// SPDX-License-Identifier: MIT
// What a command line's declaration says to others than the parser: its manual page, and the words
// with which shells complete it.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/command_line/command_line.h"

// What the first word of a command line asks for: --man-page the manual page, --complete the words
// that may stand in place of the last one after it. nullopt for any other.
std::optional<std::string> descriptionFor(const CLI::App& program, const std::string& version,
                                          int count, const char* const* words,
                                          const WordsOfValue& wordsOfValue);

// The manual page in roff, without its last sections, such as SEE ALSO.
std::string manualPage(const CLI::App& program, const std::string& version);

// The words that may stand in place of the last of `words`, which is empty or not yet complete;
// `words` are those after the program's name. Each on a line, with a tabulator and its description
// if it has one; the line kCompletedByFiles stands for all names of files.
std::string completions(const CLI::App& program, const std::vector<std::string>& words,
                        const WordsOfValue& wordsOfValue);
inline constexpr const char* kCompletedByFiles = ":files";
