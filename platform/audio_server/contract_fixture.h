// SPDX-License-Identifier: MIT
// What the contract suite needs from each back end: a server of its own whose devices it moves.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace audio_server_contract {

// The words input, pair and value of each routing, in the driver's order.
using Routings = std::array<std::array<std::int32_t, 3>, 5>;

// A running server without devices. Changes may take effect later; the suite waits for the
// listener's call.
class Server {
 public:
  virtual ~Server() = default;

  // Devices are known by their name here. One with routings takes every value that is written to
  // one of them, unless it refuses.
  virtual void addDevice(const std::string& name) = 0;
  virtual void addRoutingDevice(const std::string& name, const Routings& routings) = 0;
  virtual void removeDevice(const std::string& name) = 0;
  virtual void refuseWrites(const std::string& name) = 0;

  virtual void stop() = 0;
  // The same devices come back.
  virtual void start() = 0;

  // For a back end without a thread of its own: lets the listeners run for what has happened.
  virtual void deliverNotifications() {}
};

std::unique_ptr<Server> makeServer();

}  // namespace audio_server_contract
