// SPDX-License-Identifier: MIT
// Converts property lists to property values and back, with libplist. For back ends that keep
// property-list files. Any thread.
//
// libplist uses call stack for each level of a list and copies every object of a binary list as
// often as the list refers to it. Lists with too many arrays and dictionaries (XML) or too many
// objects (binary) are therefore refused before libplist reads them. This does not stop a binary
// list that was made to do harm: it can still make libplist abort or use up the memory.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/values/values.h"

// The panel's own lists have a few levels and a few hundred objects.
inline constexpr int kDeepestPropertyList = 128;
inline constexpr std::size_t kMostPropertyListObjects = 10000;

// Parses an XML or a binary property list. nullopt for
// - bytes that libplist cannot parse,
// - an XML list with more than kMostPropertyListObjects arrays and dictionaries, and a binary list
//   with more than kMostPropertyListObjects objects of any type,
// - a list nested deeper than kDeepestPropertyList,
// - a list that holds a type CFValue cannot hold, or a date before 1933 or after 2068.
// A UID becomes the dictionary {"CF$UID": number}, which is how XML lists write UIDs. Integers that
// need 64 bits unsigned become negative.
std::optional<CFValue> parsePropertyList(std::string_view bytes);

// Writes `value` as an XML list, from which parsePropertyList() reads the same value; texts and
// keys are written as textForXml() returns them. nullopt when parsePropertyList() would refuse the
// list, or a date is not in CFDate's format.
std::optional<std::string> xmlPropertyList(const CFValue& value);

// `text` with U+FFFD in place of each byte that is no UTF-8 and each character that XML forbids.
std::string textForXml(std::string_view text);
