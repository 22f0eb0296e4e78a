// SPDX-License-Identifier: MIT
// One interface on the session bus: its object with the registry properties, the connections that
// clients opened to it, and the driver's messages about it. Exists from plug to unplug.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "driver/service/client_connection.h"
#include "driver/service/service_context.h"

namespace driver {

class Publication final : private ConnectionOwner {
 public:
  class Owner {
   public:
    // A request made the interface leave the USB bus. Must not destroy the publication.
    virtual void interfaceLeft() = 0;

   protected:
    ~Owner() = default;
  };

  // Makes the object `path`. Null when the bus rejects it. All other arguments must outlive the
  // publication.
  static std::unique_ptr<Publication> publish(ServiceContext& context, const std::string& path,
                                              Interface& interface, RequestHandler& handler,
                                              Owner& owner);
  // Removes the object, then closes the connections.
  ~Publication();
  Publication(const Publication&) = delete;
  Publication& operator=(const Publication&) = delete;

  const std::string& path() const { return path_; }

  // Announces a change: the properties, if they changed, then the driver message with this number.
  void announce(std::uint32_t notification);

  // Sends one driver message of any type; `sizeWord` is the size that its argument claims.
  void sendMessage(std::uint32_t type, std::uint32_t sizeWord, std::uint32_t notification);

  // While paused, no connection answers, including newly opened ones.
  void setPaused(bool paused);
  bool isPaused() const { return paused_; }

 private:
  Publication(ServiceContext& context, const std::string& path, Interface& interface,
              RequestHandler& handler, Owner& owner);

  void connectionClosed(ClientConnection* connection) override;
  void interfaceLeft() override { owner_.interfaceLeft(); }

  static const sd_bus_vtable kVtable[];
  static int onOpen(sd_bus_message* call, void* self, sd_bus_error* error) noexcept;
  static int getClassName(sd_bus* bus, const char* path, const char* interface,
                          const char* property, sd_bus_message* reply, void* self,
                          sd_bus_error* error) noexcept;
  static int getProperties(sd_bus* bus, const char* path, const char* interface,
                           const char* property, sd_bus_message* reply, void* self,
                           sd_bus_error* error) noexcept;

  ServiceContext& context_;
  std::string path_;
  Interface& interface_;
  RequestHandler& handler_;
  Owner& owner_;
  RegistryEntry announced_;
  BusSlot slot_;
  std::vector<std::unique_ptr<ClientConnection>> connections_;
  bool paused_ = false;
};

}  // namespace driver
