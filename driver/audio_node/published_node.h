// SPDX-License-Identifier: MIT
// The node while a server runs: a PipeWire filter with the interface's ports.
#pragma once

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>

#include <array>
#include <functional>
#include <memory>
#include <string>

#include "driver/audio_node/audio_node.h"
#include "driver/audio_node/loopback.h"

namespace driver {

// Thread of the loop. Makes the node in the constructor and takes it away in the destructor, before
// which the core must not be closed.
class PublishedNode {
 public:
  // Both are called from within PipeWire and must not destroy the node.
  struct Handlers {
    std::function<void(const RoutingRecord&)> written;  // a client wrote a well-formed record
    std::function<void()> stateChanged;                 // present() may give something else now
  };

  PublishedNode(pw_core* core, const std::string& description, const RoutingRecords& records,
                const Loopback& loopback, Handlers handlers);
  PublishedNode(const PublishedNode&) = delete;
  PublishedNode& operator=(const PublishedNode&) = delete;

  // The server has entered the node into its registry.
  bool present() const;

  // Shows the records to everybody who follows the node, also when they have not changed.
  void show(const RoutingRecords& records);

 private:
  struct FilterDeleter {
    void operator()(pw_filter* filter) const { pw_filter_destroy(filter); }
  };

  void addPorts();
  static void onState(void* data, pw_filter_state before, pw_filter_state now, const char* error);
  static void onParam(void* data, void* port, std::uint32_t id, const spa_pod* param);
  static void onProcess(void* data, spa_io_position* position);

  const Loopback& loopback_;
  Handlers handlers_;
  spa_hook listener_{};
  std::unique_ptr<pw_filter, FilterDeleter> filter_;
  std::array<void*, kCaptureChannels> capture_{};
  std::array<void*, kPlaybackChannels> playback_{};
};

}  // namespace driver
