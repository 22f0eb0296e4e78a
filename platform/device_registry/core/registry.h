// SPDX-License-Identifier: MIT
// The registry of this process: the present services, the objects of clients and their ports.
//
// A back end derives its registry from Registry, publishes services in it and reports what their
// drivers do; operations.cpp defines the operations of the contract on it.
//
// One thread, as the contract says.
#pragma once

#include <cstdint>
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

// The operations that a back end can refuse.
enum class Operation {
  kMasterPort,
  kNotificationPortCreate,
  kGetRunLoopSource,
  kAddPublishNotification,
  kAddTerminateNotification,
  kAddInterestNotification,
  kGetMatchingServices,
  kCreateProperties,
  kServiceOpen,
  kConnectMethod,
};

class Registry {
 public:
  virtual ~Registry() = default;

  // --- Hooks for the back end ---

  // Publishes the services that are present. IOMasterPort calls it while no master port is held,
  // and returns its failure.
  virtual IOReturn connect() = 0;
  // Releases what connect() acquired, even after it failed. The services are already removed.
  virtual void disconnect() = 0;
  // Handles everything that the drivers have sent so far. Does not wait and makes no callbacks.
  virtual void receive() {}
  // A descriptor that reads as ready when there is something to receive; -1 without a descriptor.
  virtual int incoming() const { return -1; }
  // Called before and after the callbacks, whenever the run loop performs a port's source.
  virtual void beginTurn() {
    startTurn();
    receive();
  }
  void endTurn() {
    ++turn;
    isInTurn = false;
  }
  // The failure with which `operation` returns at once; kIOReturnSuccess lets it proceed.
  virtual IOReturn refusal(Operation) { return kIOReturnSuccess; }

  // --- Reports of the back end ---

  void publish(const std::shared_ptr<Service>& service);
  void terminate(const std::shared_ptr<Service>& service);
  void terminateAll();
  void sendMessage(const Service& service, natural_t type, std::span<const std::uint8_t> argument);
  // Makes the ports' sources ready, because receive() left something to receive.
  void wakePorts();

  // --- Clients ---

  // Whether a client holds a master port. Without one, only release operations work.
  bool isOpen() const { return !masterPorts.empty(); }
  // Terminates all services without notifying anyone, and disconnects.
  void close();

  void startTurn() {
    ++turn;
    isInTurn = true;
  }

  struct OpenConnection {
    std::shared_ptr<Connection> connection;
    std::shared_ptr<Service> service;
  };

  // Two numbers for each turn of the run loop: the callbacks of the ports' sources, and the
  // client's other work until the next ones.
  std::uint64_t turn = 0;
  bool isInTurn = false;  // within the callbacks
  std::shared_ptr<Numbers> numbers = std::make_shared<Numbers>();
  std::shared_ptr<ObjectTable> objects = std::make_shared<ObjectTable>();
  std::vector<std::shared_ptr<Service>> services;  // present, in the order of publication
  std::map<io_connect_t, OpenConnection> connections;
  std::map<mach_port_t, std::shared_ptr<Object>> masterPorts;
  std::vector<std::unique_ptr<IONotificationPort>> ports;
};

// The registry of this process. The back end defines it.
Registry& registry();

}  // namespace device_registry
