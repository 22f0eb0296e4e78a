// SPDX-License-Identifier: MIT
#include "tests/support/pipewire_server.h"

#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>

#include "platform/posix/posix.h"

namespace test_support {

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kLimit = std::chrono::seconds(10);

constexpr const char* kConfiguration = R"(
context.properties = {
  support.dbus = false
  mem.warn-mlock = false
  core.daemon = true
  core.name = pipewire-0
  default.clock.rate = 48000
  default.clock.quantum = 256
}
context.spa-libs = {
  audio.convert.* = audioconvert/libspa-audioconvert
  support.* = support/libspa-support
}
context.modules = [
  { name = libpipewire-module-protocol-native }
  { name = libpipewire-module-spa-node-factory }
  { name = libpipewire-module-client-node }
  { name = libpipewire-module-access }
  { name = libpipewire-module-adapter }
  { name = libpipewire-module-link-factory }
]
context.objects = [
  { factory = spa-node-factory
    args = {
      factory.name = support.node.driver
      node.name = Clock
      node.group = pipewire.dummy
      priority.driver = 20000
    }
  }
]
)";

bool acceptsConnections(const std::filesystem::path& socketPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool connected =
      ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(descriptor);
  return connected;
}

}  // namespace

PipeWireServer::PipeWireServer() {
  folder_.write("server.conf", kConfiguration);
  for (const char* name : {"PIPEWIRE_CONFIG_DIR", "PIPEWIRE_PROPS", "PIPEWIRE_REMOTE"}) {
    ::unsetenv(name);
  }
  ::setenv("PIPEWIRE_RUNTIME_DIR", folder().c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", folder().c_str(), 1);
}

PipeWireServer::~PipeWireServer() = default;

bool PipeWireServer::start() {
  allowManyDescriptors();  // the server inherits this
  process_ = std::make_unique<ChildProcess>(
      std::vector<std::string>{"pipewire", "-c", (folder() / "server.conf").string()},
      std::vector<std::string>{}, ChildProcess::Output::shared);
  return waitForSocket();
}

// The socket's creation raises an event; listen() does not.
bool PipeWireServer::waitForSocket() const {
  const int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  ::inotify_add_watch(watch, folder().c_str(), IN_CREATE);
  const auto deadline = Clock::now() + kLimit;
  bool connected = acceptsConnections(folder() / "pipewire-0");
  while (!connected && Clock::now() < deadline) {
    pollfd event{watch, POLLIN, 0};
    ::poll(&event, 1, 5);
    connected = acceptsConnections(folder() / "pipewire-0");
  }
  ::close(watch);
  return connected;
}

void PipeWireServer::stop() {
  if (!process_) return;
  process_->signal(SIGTERM);
  process_->wait(kLimit);
  process_.reset();
}

void PipeWireServer::kill() { process_.reset(); }

void PipeWireServer::suspend() {
  if (process_) process_->signal(SIGSTOP);
}

void PipeWireServer::resume() {
  if (process_) process_->signal(SIGCONT);
}

}  // namespace test_support
