// SPDX-License-Identifier: MIT
// The part of the registry that all back ends share: the services present, the objects that clients
// hold, and the notification ports. A back end provides the services and reports what its drivers
// do; the operations of device_registry.h forward to the functions of the same meaning here.
//
// Thread: that of the registry's operations.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "platform/device_registry/core/notifications.h"
#include "platform/device_registry/core/object.h"
#include "platform/device_registry/core/service.h"
#include "platform/device_registry/device_registry.h"

struct IONotificationPort {
  std::shared_ptr<device_registry::PortSource> source;
};

namespace device_registry {

class Registry {
 public:
  // `receive` receives the events that the drivers have sent so far, without waiting and without
  // calling a client. Empty for a back end that reports every event at once.
  explicit Registry(std::function<void()> receive = {}) : receive_(std::move(receive)) {}

  // Reports of the back end.

  const std::shared_ptr<Numbers>& numbers() const { return numbers_; }
  void publish(const std::shared_ptr<Service>& service);
  void terminate(const std::shared_ptr<Service>& service);
  void terminateAll();
  void sendMessage(const Service& service, natural_t type, std::span<const std::uint8_t> argument);
  // `receive` has left events to receive: performs the ports' sources again.
  void wakePorts();
  // Removes all services without a notification; handles that clients still hold then name
  // terminated services.
  void forgetServices();
  // Makes every handle that a client holds invalid.
  void forgetClients();

  // Operations for clients. Without a master port they fail, except those that release or close.

  bool isOpen() const { return !masterPorts_.empty(); }
  mach_port_t addMasterPort();
  void removeMasterPort(mach_port_t port) { masterPorts_.erase(port); }

  // `incoming` is a descriptor that reads as ready when there is an event to receive, or -1.
  IONotificationPortRef createPort(mach_port_t masterPort, int incoming = -1);
  void destroyPort(IONotificationPortRef port);
  CFRunLoopSourceRef runLoopSource(IONotificationPortRef port) const;

  IOReturn addMatchingNotification(IONotificationPortRef port, const char* kind,
                                   const CFDictionary& matching, IOServiceMatchingCallback callback,
                                   void* refcon, io_iterator_t* iterator);
  IOReturn addInterestNotification(IONotificationPortRef port, io_service_t service,
                                   const char* kind, IOServiceInterestCallback callback,
                                   void* refcon, io_object_t* notification);
  IOReturn matchingServices(mach_port_t masterPort, const CFDictionary& matching,
                            io_iterator_t* iterator);
  io_object_t next(io_iterator_t iterator);
  void retain(io_object_t object) { objects_->retain(object); }
  void release(io_object_t object) { objects_->release(object); }

  IOReturn readProperties(io_service_t service, CFDictionary* properties) const;
  IOReturn open(io_service_t service, std::uint32_t type, io_connect_t* connection);
  IOReturn close(io_connect_t connection);
  IOReturn call(io_connect_t connection, std::uint32_t selector,
                std::span<const std::uint8_t> input, std::span<std::uint8_t> output,
                std::size_t* outputSize);

  // Counts of what clients hold.
  std::size_t objectReferences() const { return objects_->references(); }
  std::size_t connectionCount() const { return connections_.size(); }
  std::size_t portCount() const { return ports_.size(); }
  std::size_t masterPortCount() const { return masterPorts_.size(); }

 private:
  struct OpenConnection {
    std::shared_ptr<Connection> connection;
    std::shared_ptr<Service> service;
  };

  void receive() const {
    if (receive_) receive_();
  }
  PortSource* sourceOf(IONotificationPortRef port) const;
  void addPresentServices(Iterator& iterator) const;
  IOReturn findPresent(io_service_t handle, std::shared_ptr<Service>* service) const;

  std::function<void()> receive_;
  std::shared_ptr<Numbers> numbers_ = std::make_shared<Numbers>();
  std::shared_ptr<ObjectTable> objects_ = std::make_shared<ObjectTable>();
  std::vector<std::shared_ptr<Service>> services_;  // present, in the order of publication
  std::map<io_connect_t, OpenConnection> connections_;
  std::map<mach_port_t, std::shared_ptr<Object>> masterPorts_;
  std::vector<std::unique_ptr<IONotificationPort>> ports_;
};

// The registry of this process; each back end defines this function. core/operations.cpp forwards
// the common operations to it.
Registry& registry();

}  // namespace device_registry
