// SPDX-License-Identifier: MIT
// What the audio server's mirror and the driver's node share of PipeWire: a connection to the
// server that comes back when the server does, each with a loop of its own, and the routing
// property. No seam: the logic includes none of this.
#pragma once

#include <pipewire/pipewire.h>
#include <spa/pod/pod.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/pipewire/server_socket.h"

namespace pipewire {

// The client library's global state; it stays set up while one of these lives.
class Library {
 public:
  Library() { pw_init(nullptr, nullptr); }
  ~Library() { pw_deinit(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

// The client configuration file whose audio thread has realtime priority, for a client library of
// that version.
const char* realtimeConfiguration(const char* libraryVersion);

// Destroys a source of `loop`.
struct SourceDeleter {
  pw_loop* loop;
  void operator()(spa_source* source) const { pw_loop_destroy_source(loop, source); }
};
using Source = std::unique_ptr<spa_source, SourceDeleter>;

// Made, started and destroyed on the thread of the loop, or while the loop does not run. Handlers
// run on that thread.
class Connection {
 public:
  struct Handlers {
    // A new connection, on which nothing has been exchanged yet. The core stays the Connection's.
    std::function<void(pw_core* core)> opened;
    // The connection is closed after the return: every proxy made from its core must be gone then.
    // Called once for each `opened`, also by the destructor.
    std::function<void()> closing;
  };

  // `configuration` names the client configuration file that PipeWire reads.
  Connection(pw_loop* loop, const char* configuration, Handlers handlers);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Connects now if the server is there, else as soon as its socket appears. True when connected.
  bool start();

  pw_context* context() const { return context_.get(); }

 private:
  struct ContextDeleter {
    void operator()(pw_context* context) const { pw_context_destroy(context); }
  };

  bool tryToConnect();
  void scheduleRetry();
  void close();

  static void onSocketEvent(void* data, int fd, std::uint32_t mask);
  static void onRetry(void* data, std::uint64_t expirations);
  static void onLost(void* data, std::uint64_t count);
  static void onCoreInfo(void* data, const pw_core_info* info);
  static void onCoreError(void* data, std::uint32_t id, int seq, int result, const char* message);

  pw_loop* loop_;
  Handlers handlers_;
  std::string path_;
  SocketWatch watch_;
  std::unique_ptr<pw_context, ContextDeleter> context_;
  Source watchSource_;
  Source retryTimer_;
  Source lostEvent_;
  int attempts_ = 0;  // failed ones since the last sign of a server
  pw_core* core_ = nullptr;
  spa_hook coreListener_{};
};

// The driver's routing property stands in the Props of its node: in the struct `params`, the key
// kRoutingProperty followed by opaque bytes (SPA type Bytes).

// The entry's bytes, which lie in `props`; nothing when it has no such entry or one of another
// type. `props` may be null and may hold anything.
std::optional<std::span<const std::uint8_t>> findRoutingBytes(const spa_pod* props);

// A Props object that holds nothing but the entry with these bytes.
class RoutingProps {
 public:
  explicit RoutingProps(std::span<const std::uint8_t> bytes);

  const spa_pod* pod() const;

 private:
  std::vector<std::uint64_t> storage_;  // pods are aligned to 8 bytes
};

}  // namespace pipewire
