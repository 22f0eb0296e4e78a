// SPDX-License-Identifier: MIT
// The interface's nodes while a server runs.
//
// The sink and the source that the interface's driver would show a desktop have its name and the
// routing property. The interface's jacks are a second sink and source: what is played to the sink
// arrives at the input jacks, and the source records the output jacks.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "driver/audio_node/audio_node.h"
#include "driver/audio_node/audio_stream.h"

namespace driver {

// Thread of the loop. Makes the nodes in the constructor and takes them away in the destructor,
// before which the core must not be closed.
class SoundCard {
 public:
  // Both are called from within PipeWire and must not destroy the card.
  struct Handlers {
    std::function<void(const RoutingRecord&)> written;  // a client wrote a well-formed record
    std::function<void()> stateChanged;                 // present() may give something else now
  };

  // `sampleRate` is in Hz. All nodes run on one data thread, to which `matrix` belongs until the
  // destructor returns, except for what is for its owner.
  SoundCard(pw_core* core, const AudioNode::Names& names, const RoutingRecords& records,
            std::uint32_t sampleRate, RoutingMatrix& matrix, const Handlers& handlers);
  SoundCard(const SoundCard&) = delete;
  SoundCard& operator=(const SoundCard&) = delete;

  // The server has entered all nodes into its registry.
  bool present() const;

  // The server has taken a node away, which does not come back.
  bool isDamaged() const;

  // Samples have gone through a node.
  bool hasRun() const;

  // Shows the records to everybody who follows the nodes, also when they have not changed.
  void show(const RoutingRecords& records);
  void setRate(std::uint32_t sampleRate);

 private:
  // The name of the data loop of all nodes; see AudioStream::Description.
  const std::optional<std::string> dataLoop_;
  AudioStream playback_;
  AudioStream capture_;
  AudioStream jackInputs_;
  AudioStream jackOutputs_;
};

}  // namespace driver
