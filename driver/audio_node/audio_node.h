// SPDX-License-Identifier: MIT
// The driver's audio device: one node in the PipeWire graph with six capture and four playback
// channels, and the routing property 'VQrt'.
//
// The property is the entry "VQrt" of the struct `params` in the node's Props: the five routing
// records one after the other, as bytes in host order (SPA type Bytes). A client writes one record
// of 12 bytes under the same key.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "driver/audio_node/audio_graph.h"

namespace driver {

// One routing: which source feeds a pair of channels.
struct RoutingRecord {
  std::uint32_t input;  // 1 = an input routing, 0 = an output routing
  std::int32_t pair;    // outputs: 0 = line, 1 = digital; inputs: 0 = 1/2, 1 = 3/4, 2 = 5/6
  std::int32_t value;   // the selected source, as the index of its menu item
  bool operator==(const RoutingRecord&) const = default;
};
static_assert(sizeof(RoutingRecord) == 12, "the record is sent as its bytes");

// Outputs 0 and 1, then inputs 0, 1 and 2.
inline constexpr std::size_t kRoutingCount = 5;
using RoutingRecords = std::array<RoutingRecord, kRoutingCount>;

// The source of an input pair that gives back what is played on channels 1 and 2.
inline constexpr std::int32_t kInputSourceLoopback = 3;

inline constexpr int kCaptureChannels = 6;
inline constexpr int kPlaybackChannels = 4;

class AudioNode {
 public:
  // They may do anything to the graph's nodes but destroy this one.
  struct Handlers {
    // A client wrote a well-formed record; whether the routing exists and takes the value is the
    // handler's matter. It calls setRoutings() with what holds now. After its return the node shows
    // the records again in any case, so that the writer sees the answer, a refusal too.
    std::function<void(const RoutingRecord&)> routingWritten;

    // The node came into the graph and can be found by others (true), or left it with the server
    // (false).
    std::function<void(bool present)> presenceChanged;
  };

  // In the graph from now on whenever a server runs, until it is destroyed: the graph's next
  // dispatch() tells the server so. `description` is the name under which others find the device.
  // The handlers may be empty.
  AudioNode(AudioGraph& graph, const std::string& description, const RoutingRecords& records,
            Handlers handlers);
  ~AudioNode();
  AudioNode(const AudioNode&) = delete;
  AudioNode& operator=(const AudioNode&) = delete;

  // Changes the records that others see, and the audio with them.
  void setRoutings(const RoutingRecords& records);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace driver
