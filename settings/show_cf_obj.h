// SPDX-License-Identifier: MIT
// Logs property values, for debugging. No program calls this.
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

// As showCFObj(); the argument of each "%@" is a C string.
void log(const char* format, ...);

}  // namespace show_cf_obj

// Logs a text as a warning. `format` is printf's, with "%@" for a CFValue; the arguments must match
// it. Bytes that are no UTF-8 are written as '?'. Any thread.
template <typename... Arguments>
void showCFObj(const char* format, Arguments... arguments) {
  show_cf_obj::log(format, show_cf_obj::Argument<Arguments>{arguments}.get()...);
}
