// SPDX-License-Identifier: MIT
// The files of presets.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace vx310ctl {

inline constexpr std::size_t kLargestPreset = std::size_t{64} << 10;  // in bytes

// Where what the interface had before the last restore is kept.
std::string undoFile();

// Says on standard error what is wrong with the file; "-" is standard input.
void explainFile(const std::string& name, const std::string& problem);

// Reads a file whole, or standard input for "-"; nullopt, with an explanation on standard error,
// when it cannot be read, is too large for a preset or has no end within a minute.
std::optional<std::string> readFile(const std::string& name);

// Replaces a file, or writes to what is no regular file; "-" is standard output. False with an
// explanation on standard error; a file that could not be written is as it was. The folder's
// entry is synced to disk where that can be done. The new file's mode is `mode`; without it that of
// the file before.
bool writeFile(const std::string& name, const std::string& text,
               std::optional<mode_t> mode = std::nullopt);

}  // namespace vx310ctl
