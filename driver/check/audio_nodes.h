// SPDX-License-Identifier: MIT
// The audio devices on the PipeWire server, with their routing property.
#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/pipewire/pipewire.h"
#include "platform/posix/posix.h"

namespace check {

struct Node {
  std::uint32_t id = 0;
  std::string description;
  std::string mediaClass;
  std::string object;         // the object path of its service, empty without that property
  std::int32_t channels = 0;  // of its format; 0 when it has none
  std::optional<std::vector<std::uint8_t>> routings;  // the routing property's bytes
  unsigned updates = 0;                               // how often they have come
};

class AudioNodes {
 public:
  // Null when no server answers, with the reason.
  static std::unique_ptr<AudioNodes> connect(std::string* problem);
  ~AudioNodes();
  AudioNodes(const AudioNodes&) = delete;
  AudioNodes& operator=(const AudioNodes&) = delete;

  // Receives the nodes as they are now. False when the server does not answer.
  bool sync();
  // Whether the connection to the server has ended; there are no nodes then.
  bool isLost() const { return isLost_; }

  // The nodes by whose description clients find the device of this name, as they were told last.
  std::vector<Node> named(const std::string& name) const;

  // Writes the routing property.
  void write(std::uint32_t node, std::span<const std::uint8_t> bytes);

  // Follows the server until `done`, for at most `limitMs`. Returns what `done` says at the end.
  bool waitFor(const std::function<bool()>& done, int limitMs);

 private:
  class Bound;
  struct Deleter {
    void operator()(pw_loop* loop) const { pw_loop_destroy(loop); }
    void operator()(pw_context* context) const { pw_context_destroy(context); }
  };

  AudioNodes();
  bool start(FileDescriptor socket);
  bool roundTrip();
  static void onGlobal(void* self, std::uint32_t id, std::uint32_t permissions, const char* type,
                       std::uint32_t version, const spa_dict* properties);

  pipewire::Library library_;
  std::unique_ptr<pw_loop, Deleter> loop_;
  std::unique_ptr<pw_context, Deleter> context_;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  spa_hook coreListener_{};
  spa_hook registryListener_{};
  int done_ = 0;  // the sequence that the server has reached
  bool isLost_ = false;
  std::vector<std::unique_ptr<Bound>> nodes_;
};

}  // namespace check
