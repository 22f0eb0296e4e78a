// SPDX-License-Identifier: MIT
#include "tools/tool_bus.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace vx310ctl {

ExitStatus connectToBus(session_bus::Bus* bus) {
  const int result = session_bus::openSessionBus(kBusLimitMs, bus);
  if (result >= 0) return kDone;
  if (result == -ETIMEDOUT) {
    std::fputs("vx310ctl: the session bus does not answer\n", stderr);
  } else {
    std::fprintf(stderr, "vx310ctl: cannot reach the session bus: %s\n", std::strerror(-result));
  }
  return kFailed;
}

}  // namespace vx310ctl
