// Files seam: files outside the preferences that the program reads.
//
// Paths are absolute paths of the described system, such as "/System/Library/Extensions/…". Where
// they lie on this machine is the back end's business.
//
// Back ends: posix/ (below a system root, compiled in and overridden by the environment variable
// VX310_SYSTEM_ROOT), memory/ (files given by tests).
#pragma once

#include <optional>
#include <string_view>

#include "platform/values/values.h"

// The property list at `path`, which must hold a dictionary. Nothing when the file is missing,
// cannot be read, is larger than 16 MiB, is no property list or holds anything but a dictionary.
std::optional<CFDictionary> dictionaryWithContentsOfFile(std::string_view path);
