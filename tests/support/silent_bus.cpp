// SPDX-License-Identifier: MIT
#include "tests/support/silent_bus.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdio>
#include <cstdlib>

namespace test_support {

SilentBus::SilentBus()
    : path_(folder_.path() / "bus"), listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path_.copy(address.sun_path, sizeof address.sun_path - 1);
  // The kernel completes connections to the listening socket until its queue is full.
  if (::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener_.get(), 16) != 0) {
    std::perror(path_.c_str());
    std::abort();
  }
}

void SilentBus::enter() const {
  const std::string entry = variable();
  const std::size_t equals = entry.find('=');
  ::setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
}

}  // namespace test_support
