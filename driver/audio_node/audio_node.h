// SPDX-License-Identifier: MIT
// The driver's audio device: the interface's nodes in the PipeWire graph, and the audio between
// them. A sink with four playback channels and a source with six capture channels have the routing
// property; the jacks are another sink and source.
//
// The property shows all routing records one after the other; a client writes one record.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "driver/audio_node/audio_graph.h"
#include "driver/interface.h"
#include "protocol/options.h"

namespace driver {

class AudioNode final : public LevelMeter {
 public:
  struct Names {
    std::string description;  // under which others find the device
    std::string node;         // the first part of its nodes' names
    std::string object;       // the path of the interface's service on the bus
  };

  // They may do anything to the graph's nodes but destroy this one.
  struct Handlers {
    // A client wrote a well-formed record. The handler validates the record and calls set() with
    // the current state. The nodes then republish the routings, also after a refusal.
    std::function<void(const RoutingRecord&)> routingWritten;

    // The nodes came into the graph and can be found by others (true), or left it with the server
    // (false).
    std::function<void(bool present)> presenceChanged;
  };

  // Publishes the nodes whenever a server is running, from the graph's next dispatch() until
  // destroyed.
  AudioNode(AudioGraph& graph, const Names& names, const AudioState& state, Handlers handlers);
  ~AudioNode();
  AudioNode(const AudioNode&) = delete;
  AudioNode& operator=(const AudioNode&) = delete;

  // Changes the records that others see, the rate and the audio.
  void set(const AudioState& state);

  InputLevels takeInputLevels() override;
  OutputLevels takeOutputLevels() override;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace driver
