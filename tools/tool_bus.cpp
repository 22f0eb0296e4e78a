// SPDX-License-Identifier: MIT
#include "tools/tool_bus.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "driver/service/session_bus.h"

namespace vx310ctl {

ExitStatus connectToBus(driver::Bus* bus) {
  const int result = driver::openSessionBus(kBusLimit, bus);
  if (result >= 0) return kDone;
  if (result == -ETIMEDOUT) {
    std::fputs("vx310ctl: the session bus does not answer\n", stderr);
  } else {
    std::fprintf(stderr, "vx310ctl: cannot reach the session bus: %s\n", std::strerror(-result));
  }
  return kFailed;
}

}  // namespace vx310ctl
