// SPDX-License-Identifier: MIT
// Parses any bytes as a preset. A preset that is taken must be written and read again as the same
// settings, and one that is refused must come with a reason.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/preset.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string problem;
  const auto items = vx310ctl::parsePreset(text, &problem);
  if (items.has_value() != problem.empty()) std::abort();
  if (items && vx310ctl::parsePreset(vx310ctl::presetText(*items), &problem) != items) std::abort();
  return 0;
}
