// SPDX-License-Identifier: MIT
#include "driver/service/session_bus.h"

#include <cerrno>

namespace driver {

int openSessionBus(std::chrono::milliseconds limit, Bus* bus) {
  using Clock = std::chrono::steady_clock;
  using std::chrono::microseconds;
  const auto deadline = Clock::now() + limit;
  sd_bus* opened = nullptr;
  int result = sd_bus_open_user(&opened);
  Bus owned(opened);
  // A blocking call on a connection that is not ready waits for that as long as the library likes.
  while (result >= 0 && (result = sd_bus_is_ready(opened)) == 0) {
    const auto left = std::chrono::duration_cast<microseconds>(deadline - Clock::now());
    if (left.count() <= 0) return -ETIMEDOUT;
    result = sd_bus_process(opened, nullptr);
    if (result == 0) result = sd_bus_wait(opened, static_cast<std::uint64_t>(left.count()));
    if (result == -EINTR) result = 0;
  }
  const auto callLimit = static_cast<std::uint64_t>(microseconds(limit).count());
  if (result >= 0) result = sd_bus_set_method_call_timeout(opened, callLimit);
  if (result < 0) return result;
  *bus = std::move(owned);
  return 0;
}

}  // namespace driver
