// SPDX-License-Identifier: MIT
#include "platform/toolkit/qt/own_options.h"

#include <algorithm>

#include "platform/toolkit/toolkit.h"

namespace {

using namespace qt_toolkit;

template <typename Names>
bool contains(const Names& names, std::string_view name) {
  return std::ranges::find(names, name) != std::ranges::end(names);
}

}  // namespace

const char* NSApplicationForeignWord(int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i) {
    std::string_view name = argv[i];
    if (!name.starts_with('-')) return argv[i];
    name.remove_prefix(name.starts_with("--") ? 2 : 1);
    if (const auto end = name.find('='); end != name.npos) {
      if (!contains(kOptionsWithEquals, name.substr(0, end))) return argv[i];
    } else if (contains(kOptionsWithValue, name) || contains(kOptionsOfX11, name)) {
      ++i;
    } else if (!contains(kFlags, name) && !contains(kFlagsOfX11, name)) {
      return argv[i];
    }
  }
  return nullptr;
}
