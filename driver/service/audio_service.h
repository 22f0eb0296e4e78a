// SPDX-License-Identifier: MIT
// The audio graph of a driver process, on its event loop.
#pragma once

#include "driver/audio_node/audio_graph.h"
#include "driver/service/handles.h"

namespace driver {

class AudioService {
 public:
  explicit AudioService(sd_event* event);

  // Where nothing can be set up, a graph in which no node ever appears.
  AudioGraph& graph() { return graph_; }

 private:
  AudioGraph graph_;
  EventSource source_;
};

}  // namespace driver
