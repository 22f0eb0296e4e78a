// SPDX-License-Identifier: MIT
// Sends an interface's reading requests and looks at the answers' packets.
#pragma once

#include <systemd/sd-bus.h>

#include <string>

namespace vx310ctl {

// Sends each request that only reads, up to the first that is not answered as it should be.
// Returns what is wrong with its answer; empty when nothing is. `path` is the service's object.
std::string probeInterface(sd_bus* bus, const char* path);

}  // namespace vx310ctl
