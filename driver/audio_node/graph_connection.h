// SPDX-License-Identifier: MIT
// The inside of the driver's graph: the loop, the connection to the server, and the nodes on it.
#pragma once

#include <pipewire/pipewire.h>

#include <memory>
#include <optional>
#include <vector>

#include "driver/audio_node/audio_graph.h"
#include "platform/pipewire/pipewire.h"

namespace driver {

// What the graph tells each of its nodes.
class GraphMember {
 public:
  // The server is there. Both come from within PipeWire.
  virtual void enter(pw_core* core) = 0;
  // The server goes away: nothing made from the core may be left after the return.
  virtual void leave() = 0;
  // A session manager has come, maybe in the place of another. From within PipeWire.
  virtual void sessionManagerCame() = 0;
  // The answer to AudioGraph::Impl::changed(), when PipeWire has returned: members may be added and
  // removed.
  virtual void report() = 0;

 protected:
  ~GraphMember() = default;
};

class AudioGraph::Impl {
 public:
  int descriptor() const { return loop_ ? pw_loop_get_fd(loop_.get()) : -1; }
  void dispatch();

  // Has the member enter as soon as there is a server, maybe at once.
  void add(GraphMember& member);
  // Tells the member nothing any more. Its part of the graph must be gone.
  void remove(GraphMember& member);
  // Has the member report before dispatch() returns.
  void changed(GraphMember& member) { changed_.push_back(&member); }

 private:
  struct LoopDeleter {
    void operator()(pw_loop* loop) const { pw_loop_destroy(loop); }
  };

  struct RegistryDeleter {
    void operator()(pw_registry* registry) const {
      pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
    }
  };

  void opened(pw_core* core);
  void closing();
  static void onGlobal(void* data, std::uint32_t id, std::uint32_t permissions, const char* type,
                       std::uint32_t version, const spa_dict* properties);

  std::vector<GraphMember*> members_;
  std::vector<GraphMember*> changed_;
  pw_core* core_ = nullptr;
  spa_hook registryListener_{};
  std::unique_ptr<pw_registry, RegistryDeleter> registry_;  // while a server runs

  // In the order of construction: each uses those above it.
  pipewire::Library library_;
  std::unique_ptr<pw_loop, LoopDeleter> loop_{pw_loop_new(nullptr)};
  std::optional<pipewire::Connection> connection_;
};

}  // namespace driver
