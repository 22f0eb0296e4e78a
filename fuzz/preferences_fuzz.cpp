// SPDX-License-Identifier: MIT
// Parses any bytes as an XML preferences file. Values that were parsed must be written, and parsing
// and writing the file once more must give the same bytes.
//
// Binary property lists are not fuzzed: they go to libplist as they are once the number of their
// objects is checked, and libplist does not withstand any bytes there (a key with a NUL in it fails
// an assertion, and an object may be copied without end). Only the user can put such a file in the
// user's own preferences folder.
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
