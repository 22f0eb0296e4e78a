// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/channel_map.h"

#include <algorithm>

#include "protocol/services.h"

namespace driver {

namespace {

bool isBetween(std::uint32_t code, std::uint32_t first, std::uint32_t last) {
  return code >= first && code <= last;
}

bool isInputCode(std::uint32_t code, bool product8) {
  if (code == VQ_Orbek_ChannelMap::kUnused || code == 160 || code == 161) return true;
  return product8 ? isBetween(code, 128, 135)
                  : isBetween(code, 128, 131) || code == 192 || code == 193;
}

bool isOutputCode(std::uint32_t code, bool product8) {
  if (code == VQ_Orbek_ChannelMap::kUnused || code == 32 || code == 33) return true;
  return product8 ? isBetween(code, 0, 7) || code == 70 || code == 71 : isBetween(code, 0, 3);
}

}  // namespace

bool isValidChannelMap(const VQ_Orbek_ChannelMap& map, std::uint16_t vendorId,
                       std::uint16_t productId) {
  const bool product8 = vendorId == kOrbekVendorId && productId == kOrbekProduct8;
  return std::all_of(map.inputs.begin(), map.inputs.end(),
                     [product8](std::uint32_t code) { return isInputCode(code, product8); }) &&
         std::all_of(map.outputs.begin(), map.outputs.end(),
                     [product8](std::uint32_t code) { return isOutputCode(code, product8); });
}

}  // namespace driver
