// SPDX-License-Identifier: MIT
// What tests do to the in-memory files: say what is there and what fails, and see what was asked.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/files.h"

namespace memory_files {

// Makes `path` a property list that holds `content`.
void put(std::string path, CFValue content);

// Makes `name` in the Preferences folder a file of those bytes.
void putPreferencesFile(std::string_view name, std::string bytes);

// The bytes of that file; nothing when there is none.
std::optional<std::string> preferencesFile(std::string_view name);

// Lets the operation of that name return `status`, in place of what it does, the next `times`
// times.
void fail(std::string operation, OSStatus status, int times = 1);

// Lets the next read say that this many bytes arrived, of which it gives none.
void reportRead(std::size_t count);

// The fork operations since the last reset, in order: "FSOpenFork NAME 1" with the permission,
// "FSReadFork 1024" with the bytes asked for; else the operation and the file's name, if any.
const std::vector<std::string>& operations();

// Leaves no file.
void reset();

}  // namespace memory_files
