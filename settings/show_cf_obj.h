// SPDX-License-Identifier: MIT
// A look at property values for whoever hunts a fault: nothing calls it.
#pragma once

#include <string>

#include "platform/values/values.h"

// Parts of showCFObj().
namespace show_cf_obj {

std::string description(const CFValue& value);

template <typename Value>
struct Argument {
  Value value;
  Value get() const { return value; }
};

template <>
struct Argument<CFValue> {
  explicit Argument(const CFValue& value) : text(description(value)) {}
  const char* get() const { return text.c_str(); }
  std::string text;
};

// As showCFObj(), with a description's characters for each "%@".
void log(const char* format, ...);

}  // namespace show_cf_obj

// Writes a text to the system log, formatted as printf does with "%@" for a CFValue beside it. What
// is not UTF-8 is written as '?'. The caller sees to it that the arguments fit the format. Any
// thread.
template <typename... Arguments>
void showCFObj(const char* format, Arguments... arguments) {
  show_cf_obj::log(format, show_cf_obj::Argument<Arguments>{arguments}.get()...);
}
