// SPDX-License-Identifier: MIT
// The PipeWire parts that the audio server back end and the driver's audio node share: a connection
// to the PipeWire server that reconnects when the server returns, and the routing property. No
// seam: the logic includes none of this.
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
#include "platform/posix/posix.h"

namespace pipewire {

// Initialises the PipeWire client library for as long as an object of this class lives. The
// library's messages are printed through platform/log.
class Library {
 public:
  Library();
  ~Library() { pw_deinit(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

// The name of the client configuration file that gives the audio thread realtime priority, for a
// client library of `libraryVersion`.
const char* realtimeConfiguration(const char* libraryVersion);

// Whether a core's error means that the connection was lost; other errors leave it open.
bool isLoss(int result);

// Owns an event source of a PipeWire loop.
struct SourceDeleter {
  pw_loop* loop;
  void operator()(spa_source* source) const { pw_loop_destroy_source(loop, source); }
};
using Source = std::unique_ptr<spa_source, SourceDeleter>;

// A connection to the PipeWire server, on a loop of the caller. Thread: construct, start and
// destroy it on the loop's thread or while the loop does not run; the handlers run on the loop's
// thread.
class Connection {
 public:
  struct Handlers {
    // Called when a connection to the server was opened, before any message. The Connection owns
    // `core`.
    std::function<void(pw_core* core)> opened;
    // Called before the connection is closed; it must destroy every proxy made from the core.
    // Called once for each `opened`, also by the destructor.
    std::function<void()> closing;
  };

  // `configuration` names the client configuration file that PipeWire reads.
  Connection(pw_loop* loop, const char* configuration, Handlers handlers);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Connects at once if the server is running, otherwise when its socket appears. Returns true when
  // connected. After a loss of the server it reconnects in the same way.
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
  int attempts_ = 0;  // failed attempts since the last sign of a server
  pw_core* core_ = nullptr;
  spa_hook coreListener_{};
};

// The routing property is an entry of the Props of the driver's node: in the struct `params`, the
// key kRoutingProperty followed by a value of SPA type Bytes.

// The bytes of the entry, which point into `props`; nullopt when the entry is missing or has
// another type. `props` may be null and may hold anything.
std::optional<std::span<const std::uint8_t>> findRoutingBytes(const spa_pod* props);

// A Props object that holds only the entry with `bytes`.
class RoutingProps {
 public:
  explicit RoutingProps(std::span<const std::uint8_t> bytes);

  const spa_pod* pod() const;

 private:
  std::vector<std::uint64_t> storage_;  // pods are aligned to 8 bytes
};

}  // namespace pipewire
