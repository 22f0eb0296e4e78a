// SPDX-License-Identifier: MIT
// What is done with a request that came in through a connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "driver/interface.h"

namespace driver {

struct Reply {
  // The packet to send back; nothing for no answer.
  std::optional<std::vector<std::uint8_t>> packet;
  // How long to hold it. The connection's next request waits for that, too.
  std::chrono::milliseconds delay{0};
  // Closes the connection, after the answer if there is one.
  bool closeConnection = false;
  // The interface leaves the bus after the answer, and comes back.
  bool leaveBus = false;
};

class RequestHandler {
 public:
  virtual ~RequestHandler() = default;
  virtual Reply handle(const VQ_Dispatch& request) = 0;
};

// Puts each request to an interface, as the protocol has it: the record as answered, or for a
// refused one the command number alone, which is too short to be taken for an answer.
class InterfaceRequestHandler final : public RequestHandler {
 public:
  explicit InterfaceRequestHandler(Interface& interface) : interface_(interface) {}
  Reply handle(const VQ_Dispatch& request) override;

 private:
  Interface& interface_;
};

// The answer to a request that failed.
Reply refusal(const VQ_Dispatch& request);

}  // namespace driver
