// SPDX-License-Identifier: MIT
// Controls of the in-memory files, for tests.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/files.h"

namespace memory_files {

// Writes `content` as a property list at `path`.
void put(std::string path, CFValue content);

// Writes the file `name` in the Preferences folder.
void putPreferencesFile(std::string_view name, std::string bytes);

// The bytes of that file; nullopt when it is missing.
std::optional<std::string> preferencesFile(std::string_view name);

// Makes the next `times` calls of the named operation do nothing but return `status`.
void fail(std::string operation, OSStatus status, int times = 1);

// Makes the next read report `count` bytes and store none.
void reportRead(std::size_t count);

// The fork operations since the last reset, in order: "FSOpenFork NAME 1" with the permission,
// "FSReadFork 1024" with the requested size, "FSFindFolder create" if a missing folder was to be
// made; the others with the file's name, if any.
const std::vector<std::string>& operations();

// Removes all files, requested failures and logged operations.
void reset();

}  // namespace memory_files
