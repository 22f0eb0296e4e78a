// SPDX-License-Identifier: MIT
// Computes the capture channels from the playback channels.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "driver/audio_node/audio_node.h"

namespace driver {

// setRoutings() on the owner's thread, process() on PipeWire's data thread; neither waits for the
// other.
class Loopback {
 public:
  // The capture pairs that carry the playback.
  void setRoutings(const RoutingRecords& records);

  // Fills one period of `frames` samples a channel. A pair whose source is the loopback gets what
  // is played on channels 1 and 2; every other source of this interface is silent. Channels that
  // nobody is connected to are null.
  void process(const std::array<const float*, kPlaybackChannels>& playback,
               const std::array<float*, kCaptureChannels>& capture, std::size_t frames) const;

 private:
  std::atomic<std::uint32_t> pairs_ = 0;  // bit N: input pair N is fed by the loopback
};

}  // namespace driver
