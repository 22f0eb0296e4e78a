// SPDX-License-Identifier: MIT
// Property lists as bytes, turned into property values and back. For back ends that keep
// property-list files. Any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/values/values.h"

// Reading and freeing a property list takes call stack for each of its levels, so that a file made
// for it would end the program. This system's lists have a few levels and a few hundred objects.
inline constexpr int kDeepestPropertyList = 128;
inline constexpr std::size_t kMostPropertyListObjects = 10000;

// The value that `bytes` hold, an XML or a binary list. Nothing when they are no property list, one
// of more than kMostPropertyListObjects (of an XML list only the arrays and dictionaries count),
// one nested deeper than kDeepestPropertyList, or hold anything for which there is no property
// value: a value is the whole list. A reference of a binary list comes as a dictionary, which is
// what stands for it in an XML list. Numbers above 63 bits come as their two's complement.
std::optional<CFValue> parsePropertyList(std::string_view bytes);

// The XML list of `value`: parsePropertyList gives the same value again, except for texts that XML
// cannot hold, which are written as textForXml gives them. Nothing when the list would be too large
// for parsePropertyList.
std::optional<std::string> xmlPropertyList(const CFValue& value);

// `text` with U+FFFD in place of what is not UTF-8 and of the control characters that XML forbids.
std::string textForXml(std::string_view text);
