// SPDX-License-Identifier: MIT
// One node in the PipeWire graph: a sink that programs play to, or a source that they record from.
#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "driver/audio_node/routing_matrix.h"
#include "protocol/options.h"

namespace driver {

// Thread of the loop. Makes the node in the constructor and takes it away in the destructor, before
// which the core must not be closed.
class AudioStream {
 public:
  struct Description {
    bool isSink;
    std::uint32_t channels;                         // at most kMaximumChannels
    std::uint32_t sampleRate;                       // Hz
    std::map<std::string, std::string> properties;  // of the node
    // The routing property's records; nullopt for a node without the property.
    std::optional<RoutingRecords> routings;
    // The name of the data loop that the node runs on; nullopt for one that PipeWire chooses.
    std::optional<std::string> dataLoop = std::nullopt;
  };

  struct Handlers {
    // A client wrote a well-formed record; present() may give something else now. Called from
    // within PipeWire; they must not destroy the node.
    std::function<void(const RoutingRecord&)> written;
    std::function<void()> stateChanged;
    // A sink's samples have come, or a source's buffers are to be filled; channels without a buffer
    // are null. On the data loop's thread.
    std::function<void(const Cycle&, std::size_t frames, std::span<float* const>)> process;
  };

  static constexpr std::size_t kMaximumChannels = 6;

  AudioStream(pw_core* core, const Description& description, Handlers handlers);
  AudioStream(const AudioStream&) = delete;
  AudioStream& operator=(const AudioStream&) = delete;

  // The server has entered the node into its registry.
  bool present() const;

  // Samples have gone through the node.
  bool hasRun() const { return hasRun_; }

  // The server has taken the node away. It does not come back.
  bool removed() const;

  // Shows the records to everybody who follows the node, also when they have not changed.
  void show(const RoutingRecords& records);

  // Asks the server to run the graph at this rate while the node is in use.
  void setRate(std::uint32_t sampleRate);

 private:
  struct StreamDeleter {
    void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
  };

  static void onState(void* data, pw_stream_state before, pw_stream_state now, const char* error);
  static void onParam(void* data, std::uint32_t id, const spa_pod* param);
  static void onArea(void* data, std::uint32_t id, void* area, std::uint32_t size);
  static void onProcess(void* data);
  std::size_t framesIn(const pw_buffer& buffer) const;

  Handlers handlers_;
  const bool isSink_;
  const std::size_t channels_;
  const spa_io_position* position_ = nullptr;  // used by the data thread only
  bool hasRun_ = false;
  spa_hook listener_{};
  std::unique_ptr<pw_stream, StreamDeleter> stream_;
};

}  // namespace driver
