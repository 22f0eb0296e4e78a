// SPDX-License-Identifier: MIT
// Handles what clients ask of an interface: the requests that come in through their connections,
// and the routings that they write to its audio device.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "driver/interface.h"

namespace driver {

struct Reply {
  // The packet to send back; nullopt sends none.
  std::optional<std::vector<std::uint8_t>> packet;
  // Delay before the answer. The connection's next request waits for it, too.
  std::chrono::milliseconds delay{0};
  // Closes the connection, after the answer if there is one.
  bool closeConnection = false;
  // The interface leaves the USB bus after the answer, and comes back.
  bool leaveBus = false;
};

class RequestHandler {
 public:
  virtual ~RequestHandler() = default;
  virtual Reply handle(const VQ_Dispatch& request) = 0;
  // Nothing changes when the interface does not take it.
  virtual void setRouting(const RoutingRecord& routing) = 0;
};

// Replies with the record as the interface answered it; to a refused request with the command
// number alone, which is too short for an answer.
class InterfaceRequestHandler final : public RequestHandler {
 public:
  explicit InterfaceRequestHandler(Interface& interface) : interface_(interface) {}
  Reply handle(const VQ_Dispatch& request) override;
  void setRouting(const RoutingRecord& routing) override;

 private:
  Interface& interface_;
};

// The answer to a request that failed.
Reply refusal(const VQ_Dispatch& request);

}  // namespace driver
