// Property lists as bytes, XML or binary, turned into property values. For back ends that read
// property-list files.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/values/values.h"

// Reading and freeing a property list takes call stack for each of its levels, so that a file made
// for it would end the program. This system's lists have a few levels and a few hundred objects.
inline constexpr int kDeepestPropertyList = 128;
inline constexpr std::size_t kMostPropertyListObjects = 10000;

// The value that `bytes` hold; nothing when they are no property list, or one of more than
// kMostPropertyListObjects (of an XML list only the arrays and dictionaries count). Left out of the
// container that they are in: what is nested deeper than kDeepestPropertyList, and dates and
// references, for which there is no property value. Any thread.
std::optional<CFValue> parsePropertyList(std::string_view bytes);
