// SPDX-License-Identifier: MIT
#include "platform/pipewire/pipewire.h"

#include <string.h>  // strverscmp

#include <cerrno>
#include <ctime>
#include <utility>

namespace pipewire {

namespace {

// The socket appears when the server binds it, but the server refuses connections until it listens,
// and listening causes no event. So the connection is tried a few more times after the event; then
// it waits for the next event. A socket that a crashed server left behind costs the same attempts
// once.
constexpr int kMaximumAttempts = 25;
constexpr timespec kRetryDelay{0, 10'000'000};  // 10 ms

}  // namespace

const char* realtimeConfiguration(const char* libraryVersion) {
  // From this version on the general file gives realtime priority, and the other one logs a
  // warning.
  constexpr const char* kOneFileForAll = "1.3.81";
  return ::strverscmp(libraryVersion, kOneFileForAll) < 0 ? "client-rt.conf" : "client.conf";
}

Connection::Connection(pw_loop* loop, const char* configuration, Handlers handlers)
    : loop_(loop),
      handlers_(std::move(handlers)),
      path_(serverSocketPath()),
      watch_(path_),
      context_(
          pw_context_new(loop, pw_properties_new(PW_KEY_CONFIG_NAME, configuration, nullptr), 0)),
      watchSource_(nullptr, {loop}),
      retryTimer_(pw_loop_add_timer(loop, onRetry, this), {loop}),
      lostEvent_(pw_loop_add_event(loop, onLost, this), {loop}) {
  if (watch_.descriptor() >= 0) {
    watchSource_.reset(
        pw_loop_add_io(loop, watch_.descriptor(), SPA_IO_IN, false, onSocketEvent, this));
  }
}

Connection::~Connection() { close(); }

bool Connection::start() {
  watch_.arm();
  return tryToConnect();
}

bool Connection::tryToConnect() {
  if (core_ || !context_) return core_ != nullptr;
  const int socket = connectToSocket(path_);
  if (socket < 0) {
    if (socket == -ECONNREFUSED || socket == -EAGAIN) scheduleRetry();
    return false;
  }
  core_ = pw_context_connect_fd(context_.get(), socket, nullptr, 0);
  if (!core_) return false;
  static const pw_core_events events = [] {
    pw_core_events e{};
    e.version = PW_VERSION_CORE_EVENTS;
    e.info = onCoreInfo;
    e.error = onCoreError;
    return e;
  }();
  pw_core_add_listener(core_, &coreListener_, &events, this);
  handlers_.opened(core_);
  return true;
}

void Connection::scheduleRetry() {
  if (++attempts_ > kMaximumAttempts) return;
  timespec delay = kRetryDelay;
  pw_loop_update_timer(loop_, retryTimer_.get(), &delay, nullptr, false);
}

void Connection::close() {
  if (!core_) return;
  handlers_.closing();
  spa_hook_remove(&coreListener_);
  pw_core_disconnect(std::exchange(core_, nullptr));
}

void Connection::onSocketEvent(void* data, int /*fd*/, std::uint32_t /*mask*/) {
  Connection& self = *static_cast<Connection*>(data);
  if (!self.watch_.takeEvents()) return;
  self.watch_.arm();
  self.attempts_ = 0;
  self.tryToConnect();
}

void Connection::onRetry(void* data, std::uint64_t /*expirations*/) {
  static_cast<Connection*>(data)->tryToConnect();
}

void Connection::onLost(void* data, std::uint64_t /*count*/) {
  Connection& self = *static_cast<Connection*>(data);
  self.close();
  // The socket of a server that is started on demand always exists and causes no event: try again.
  // A server that accepts connections and never answers is given up after kMaximumAttempts.
  self.scheduleRetry();
}

bool isLoss(int result) { return result == -EPIPE || result == -ECONNRESET || result == -EPROTO; }

// The server has answered, so the connection was not just accepted by the socket of a dying server.
void Connection::onCoreInfo(void* data, const pw_core_info* /*info*/) {
  static_cast<Connection*>(data)->attempts_ = 0;
}

void Connection::onCoreError(void* data, std::uint32_t id, int /*seq*/, int result,
                             const char* /*message*/) {
  Connection& self = *static_cast<Connection*>(data);
  // Errors of single proxies are ignored. The core must not be disconnected inside its own event,
  // so onLost does it.
  if (id == PW_ID_CORE && isLoss(result)) {
    pw_loop_signal_event(self.loop_, self.lostEvent_.get());
  }
}

}  // namespace pipewire
