// SPDX-License-Identifier: MIT
// Any bytes as a preferences file: they are read or refused, and what was read is written so that
// it reads the same.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/preferences/plist/preferences_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto values = parsePreferences({reinterpret_cast<const char*>(data), size});
  if (!values) return 0;
  // The deepest lists that are read may be one level too deep to be written.
  const auto bytes = writtenPreferences(*values);
  if (!bytes) return 0;
  const auto again = parsePreferences(*bytes);
  if (!again || writtenPreferences(*again) != bytes) std::abort();
  return 0;
}
