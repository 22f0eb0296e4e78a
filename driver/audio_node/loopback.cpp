// SPDX-License-Identifier: MIT
#include "driver/audio_node/loopback.h"

#include <algorithm>

namespace driver {

void Loopback::setRoutings(const RoutingRecords& records) {
  std::uint32_t pairs = 0;
  for (const RoutingRecord& record : records) {
    if (record.input != 1 || record.value != kFromLoopback) continue;
    if (record.pair >= 0 && record.pair < kInputPairs) pairs |= 1u << record.pair;
  }
  pairs_.store(pairs, std::memory_order_relaxed);
}

void Loopback::process(const std::array<const float*, kPlaybackChannels>& playback,
                       const std::array<float*, kCaptureChannels>& capture,
                       std::size_t frames) const {
  const std::uint32_t pairs = pairs_.load(std::memory_order_relaxed);
  for (std::size_t channel = 0; channel < capture.size(); ++channel) {
    if (!capture[channel]) continue;
    const float* source = pairs >> (channel / 2) & 1 ? playback[channel % 2] : nullptr;
    if (source) {
      std::copy_n(source, frames, capture[channel]);
    } else {
      std::fill_n(capture[channel], frames, 0.0f);
    }
  }
}

}  // namespace driver
