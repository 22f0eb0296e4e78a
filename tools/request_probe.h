// SPDX-License-Identifier: MIT
// Sends an interface's reading requests and looks at the answers' packets.
#pragma once

#include <systemd/sd-bus.h>

#include <optional>
#include <string>

#include "platform/session_bus/session_bus.h"

namespace vx310ctl {

// Sends each request that only reads, up to the first that is not answered as it should be.
// Returns what is wrong with its answer; empty when nothing is, nullopt when the deadline has
// passed before that is known. *isUsb11 becomes whether it says that its connection has that speed.
// `path` is the service's object.
std::optional<std::string> probeInterface(sd_bus* bus, const char* path,
                                          const session_bus::Deadline& deadline, bool* isUsb11);

}  // namespace vx310ctl
