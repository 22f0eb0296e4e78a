// SPDX-License-Identifier: MIT
// Reads property lists in the binary form. The library's own reader is not asked: it takes a list
// whose objects refer to one another many times over apart into as many copies, and a key with a
// NUL in it ends the program.
#pragma once

#include <optional>
#include <string_view>

#include "platform/values/values.h"

// What a binary list starts with.
inline constexpr std::string_view kBinaryListMark = "bplist";

// As parsePropertyList.
std::optional<CFValue> parseBinaryPropertyList(std::string_view bytes);
