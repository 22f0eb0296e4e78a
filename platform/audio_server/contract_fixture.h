// SPDX-License-Identifier: MIT
// What the contract suite needs from each back end: a server of its own, whose devices the suite
// adds and removes.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace audio_server_contract {

// The words input, pair and value of each routing, in the driver's order.
using Routings = std::array<std::array<std::int32_t, 3>, 5>;

// A running server without devices. A change may take effect after the call returns: the suite
// waits for a listener to be called.
class Server {
 public:
  virtual ~Server() = default;

  // `name` identifies a device. A routing device takes every value that is written to one of its
  // routings until refuseWrites().
  virtual void addDevice(const std::string& name) = 0;
  virtual void addRoutingDevice(const std::string& name, const Routings& routings) = 0;
  virtual void removeDevice(const std::string& name) = 0;
  virtual void refuseWrites(const std::string& name) = 0;

  virtual void stop() = 0;
  // Starts the server again with the same devices.
  virtual void start() = 0;

  // For a back end without a thread of its own: calls the listeners for the changes made so far.
  virtual void deliverNotifications() {}
};

std::unique_ptr<Server> makeServer();

}  // namespace audio_server_contract
