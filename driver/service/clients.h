// SPDX-License-Identifier: MIT
// The bus clients that have open connections to this process's interfaces. Limits how many one
// client and all of them have, and closes those of a client that leaves the bus.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "driver/service/client_connection.h"

namespace driver {

class Clients {
 public:
  // Connections that are open at once, over all interfaces.
  static constexpr std::size_t kMaximumConnections = 512;
  static constexpr std::size_t kMaximumOfOneClient = 16;

  // The bus must outlive it.
  explicit Clients(sd_bus* bus) : bus_(bus) {}
  Clients(const Clients&) = delete;
  Clients& operator=(const Clients&) = delete;

  // Whether the client with this unique bus name may open one more connection.
  bool mayOpen(const std::string& name) const;

  // Counts a connection of that client until remove(). When the client leaves the bus, the owner is
  // told that the connection is closed. False, with nothing counted, when the bus cannot be asked
  // to tell that.
  bool add(const std::string& name, ClientConnection& connection, ConnectionOwner& owner);
  void remove(const ClientConnection* connection);

 private:
  struct Connection {
    ClientConnection* connection;
    ConnectionOwner* owner;
  };
  // Exists while the client has connections.
  struct Client {
    BusSlot departure;  // the match for its name
    std::vector<Connection> connections;
  };

  bool watch(const std::string& name, Client& client);
  static int ownerChanged(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;
  void left(const std::string& name);

  sd_bus* bus_;
  std::map<std::string, Client> clients_;
};

}  // namespace driver
