// SPDX-License-Identifier: MIT
#include "driver/service/clients.h"

#include <iterator>
#include <utility>

namespace driver {

bool Clients::mayOpen(const std::string& name) const {
  std::size_t all = 0;
  for (const auto& [_, client] : clients_) all += client.connections.size();
  const auto entry = clients_.find(name);
  const std::size_t own = entry == clients_.end() ? 0 : entry->second.connections.size();
  return all < kMaximumConnections && own < kMaximumOfOneClient;
}

bool Clients::add(const std::string& name, ClientConnection& connection, ConnectionOwner& owner) {
  const auto [entry, isNew] = clients_.try_emplace(name);
  if (isNew && !watch(name, entry->second)) {
    clients_.erase(entry);
    return false;
  }
  entry->second.connections.push_back({&connection, &owner});
  return true;
}

void Clients::remove(const ClientConnection* connection) {
  for (auto entry = clients_.begin(); entry != clients_.end();) {
    auto& connections = entry->second.connections;
    std::erase_if(connections, [&](const Connection& one) { return one.connection == connection; });
    entry = connections.empty() ? clients_.erase(entry) : std::next(entry);
  }
}

// The bus handles messages in order: the match is in place before the client gets the reply with
// its end of the connection, so its departure after that is never missed.
bool Clients::watch(const std::string& name, Client& client) {
  const std::string match = session_bus::ownerChangeMatch(name);
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_match_async(bus_, &slot, match.c_str(), ownerChanged, nullptr, this) < 0) {
    return false;
  }
  client.departure.reset(slot);
  return true;
}

// A unique name changes its owner once, to none.
int Clients::ownerChanged(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  const char* name = nullptr;
  if (sd_bus_message_read(message, "s", &name) > 0) static_cast<Clients*>(self)->left(name);
  return 0;
}

void Clients::left(const std::string& name) {
  const auto entry = clients_.find(name);
  if (entry == clients_.end()) return;
  const auto connections = entry->second.connections;  // a copy: the owners remove them
  for (const auto& [connection, owner] : connections) owner->connectionClosed(connection);
}

}  // namespace driver
