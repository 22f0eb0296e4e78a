// SPDX-License-Identifier: MIT
// Which physical channel each slot of the interface's channel map carries.
#pragma once

#include "protocol/records.h"

namespace driver {

// Six capture and four playback channels in the order in which they are listed.
inline constexpr VQ_Orbek_ChannelMap kDefaultChannelMap = {
    {160, 161, 128, 129, 130, 131, VQ_Orbek_ChannelMap::kUnused, VQ_Orbek_ChannelMap::kUnused},
    {32, 33, 0, 1, VQ_Orbek_ChannelMap::kUnused, VQ_Orbek_ChannelMap::kUnused,
     VQ_Orbek_ChannelMap::kUnused, VQ_Orbek_ChannelMap::kUnused}};

// True when every slot is unused or holds a code that the device with these ids has.
bool isValidChannelMap(const VQ_Orbek_ChannelMap& map, std::uint16_t vendorId,
                       std::uint16_t productId);

}  // namespace driver
