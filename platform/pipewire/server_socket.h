// SPDX-License-Identifier: MIT
// The PipeWire server's socket: its path, and a connection to it.
#pragma once

#include <string>

namespace pipewire {

// The path of the server's socket: $PIPEWIRE_REMOTE, or "pipewire-0" if it is not set. A relative
// name is in the first folder that is set of PIPEWIRE_RUNTIME_DIR, XDG_RUNTIME_DIR and HOME. Empty
// when none is set.
std::string serverSocketPath();

// Returns a connected, non-blocking stream socket, or a negative errno. Never waits.
int connectToSocket(const std::string& path);

}  // namespace pipewire
