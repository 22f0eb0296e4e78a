// SPDX-License-Identifier: MIT
// The driver's audio device: one node in the PipeWire graph with six capture and four playback
// channels, and the routing property.
//
// The property shows all routing records one after the other; a client writes one record.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "driver/audio_node/audio_graph.h"
#include "protocol/options.h"

namespace driver {

inline constexpr int kCaptureChannels = kInputChannels;
inline constexpr int kPlaybackChannels = kOutputChannels;

class AudioNode {
 public:
  // They may do anything to the graph's nodes but destroy this one.
  struct Handlers {
    // A client wrote a well-formed record. The handler validates the record and calls setRoutings()
    // with the current routings. The node then republishes them, also after a refusal.
    std::function<void(const RoutingRecord&)> routingWritten;

    // The node came into the graph and can be found by others (true), or left it with the server
    // (false).
    std::function<void(bool present)> presenceChanged;
  };

  // Publishes the node whenever a server is running, from the graph's next dispatch() until
  // destroyed. `description` is the name under which others find the device. The handlers may be
  // empty.
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
