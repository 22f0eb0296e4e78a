// SPDX-License-Identifier: MIT
#include "platform/pipewire/server_socket.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/posix/posix.h"

namespace pipewire {

namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

std::string serverSocketPath() {
  std::string name = environment("PIPEWIRE_REMOTE");
  if (name.empty()) name = "pipewire-0";
  if (name.front() == '/') return name;
  for (const char* variable : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR", "HOME"}) {
    if (const std::string folder = environment(variable); !folder.empty()) {
      return folder + "/" + name;
    }
  }
  return "";
}

int connectToSocket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty()) return -ENOENT;
  if (path.size() >= sizeof address.sun_path) return -ENAMETOOLONG;
  std::memcpy(address.sun_path, path.data(), path.size());

  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) return -errno;
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
    return -errno;
  }
  return socket.release();
}

}  // namespace pipewire
