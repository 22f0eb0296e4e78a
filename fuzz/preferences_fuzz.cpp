// SPDX-License-Identifier: MIT
// Parses any bytes as an XML preferences file. Parsed values must be writable, and parsing and
// writing the result again must give the same bytes.
//
// Binary property lists are not fuzzed: they are passed to libplist after a check of their number
// of objects, and libplist is not safe for arbitrary bytes (a key with a NUL fails an assertion,
// and an object may be copied without end). Only the user can put such a file into the user's own
// preferences folder.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/preferences/plist/preferences_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view file(reinterpret_cast<const char*>(data), size);
  if (file.starts_with("bplist")) return 0;
  const auto values = parsePreferences(file);
  if (!values) return 0;
  const auto bytes = writtenPreferences(*values);
  if (!bytes) std::abort();
  const auto again = parsePreferences(*bytes);
  if (!again || writtenPreferences(*again) != bytes) std::abort();
  return 0;
}
