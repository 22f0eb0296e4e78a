// SPDX-License-Identifier: MIT
// What all interfaces of one driver process share.
#pragma once

#include <cstdint>

#include "driver/audio_node/audio_graph.h"
#include "driver/service/clients.h"
#include "driver/service/handles.h"

namespace driver {

// The audio graph of a driver process, on its event loop.
class AudioService {
 public:
  explicit AudioService(sd_event* event);

  // If the graph cannot be set up, no node ever appears in it.
  AudioGraph& graph() { return graph_; }

 private:
  AudioGraph graph_;
  EventSource source_;
};

// Event loop and bus outlive it, and it outlives the interfaces.
struct ServiceContext {
  sd_event* event;
  sd_bus* bus;
  AudioService audio{event};
  std::uint64_t publications = 0;  // made so far; no object path is used twice
  Clients clients{bus};
};

}  // namespace driver
