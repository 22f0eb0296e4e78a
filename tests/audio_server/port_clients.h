// SPDX-License-Identifier: MIT
// Clients that play to and record from other nodes of the graph.
#pragma once

#include <pipewire/filter.h>

#include <mutex>
#include <vector>

#include "tests/audio_server/graph_client.h"

namespace pipewire_test {

// A node named "player" on the server connection of `client`. Its port out_N plays the N-th level,
// from 1, without end.
class Player {
 public:
  Player(GraphClient& client, std::vector<float> levels);
  ~Player();
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

 private:
  static void onProcess(void* data, spa_io_position* position);

  GraphClient& client_;
  std::vector<float> levels_;
  pw_filter* filter_;
  spa_hook listener_{};
  std::vector<void*> ports_;
};

// A node named "recorder" with ports in_1 to in_N on the server connection of `client`.
class Recorder {
 public:
  Recorder(GraphClient& client, std::size_t ports);
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // The level of each port in the last period; empty when a port was not connected or had more than
  // one level. Each period is an event of the client.
  std::vector<float> levels() const;

 private:
  static void onProcess(void* data, spa_io_position* position);

  GraphClient& client_;
  pw_filter* filter_;
  spa_hook listener_{};
  std::vector<void*> ports_;

  mutable std::mutex mutex_;
  std::vector<float> levels_;
};

}  // namespace pipewire_test
