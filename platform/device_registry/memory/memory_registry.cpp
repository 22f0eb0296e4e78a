// SPDX-License-Identifier: MIT
#include "platform/device_registry/memory/memory_registry.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/device_registry/core/registry.h"

namespace {

using memory_registry::Device;
using memory_registry::DeviceId;
using memory_registry::Operation;
using memory_registry::Request;

struct Published {
  std::shared_ptr<Device> device;
  std::shared_ptr<device_registry::Service> service;  // null while no master port is held
};

struct Refusal {
  IOReturn result = kIOReturnSuccess;
  int count = 0;
};

struct State {
  device_registry::Registry registry;
  std::map<DeviceId, Published> devices;
  DeviceId lastDevice = 0;
  std::map<Operation, Refusal> refusals;
  std::vector<Request> requests;
};

State& state() {
  static State theState;
  return theState;
}

class MemoryConnection : public device_registry::Connection {
 public:
  MemoryConnection(DeviceId id, std::shared_ptr<Device> device, std::uint32_t type)
      : Connection(state().registry.numbers()), id_(id), device_(std::move(device)), type_(type) {}

  IOReturn call(std::uint32_t selector, std::span<const std::uint8_t> input,
                std::span<std::uint8_t> output, std::size_t* outputSize) override {
    const std::vector<std::uint8_t> request(input.begin(), input.end());
    state().requests.push_back({id_, type_, selector, request});
    const auto respond = device_->respond;  // the script may replace itself
    const memory_registry::Answer answer = respond ? respond(selector, request) : request;
    if (!answer) return kIOReturnTimeout;
    if (answer->size() > output.size()) return kIOReturnOverrun;
    std::copy(answer->begin(), answer->end(), output.begin());
    *outputSize = answer->size();
    return kIOReturnSuccess;
  }

 private:
  DeviceId id_;
  std::shared_ptr<Device> device_;
  std::uint32_t type_;
};

class MemoryService : public device_registry::Service {
 public:
  MemoryService(DeviceId id, std::shared_ptr<Device> device)
      : Service(state().registry.numbers(), device->className),
        id_(id),
        device_(std::move(device)) {}

  IOReturn readProperties(CFDictionary* properties) override {
    *properties = device_->properties;
    return kIOReturnSuccess;
  }

  IOReturn open(std::uint32_t type,
                std::shared_ptr<device_registry::Connection>* connection) override {
    if (device_->openResult != kIOReturnSuccess) return device_->openResult;
    *connection = std::make_shared<MemoryConnection>(id_, device_, type);
    return kIOReturnSuccess;
  }

 private:
  DeviceId id_;
  std::shared_ptr<Device> device_;
};

// Makes the registry service of a device.
void announce(DeviceId id, Published& published) {
  published.service = std::make_shared<MemoryService>(id, published.device);
  state().registry.publish(published.service);
}

// The result that a failNext() prescribes for this call of `operation`; kIOReturnSuccess if none
// does.
IOReturn refused(Operation operation) {
  Refusal& refusal = state().refusals[operation];
  if (refusal.count == 0) return kIOReturnSuccess;
  --refusal.count;
  return refusal.result;
}

}  // namespace

namespace memory_registry {

DeviceId publish(Device device) {
  const DeviceId id = ++state().lastDevice;
  Published& published = state().devices[id];
  published.device = std::make_shared<Device>(std::move(device));
  if (state().registry.isOpen()) announce(id, published);
  return id;
}

void terminate(DeviceId device) {
  const auto entry = state().devices.find(device);
  if (entry == state().devices.end()) return;
  if (entry->second.service) state().registry.terminate(entry->second.service);
  state().devices.erase(entry);
}

void sendMessage(DeviceId device, natural_t messageType, std::vector<std::uint8_t> argument) {
  const auto entry = state().devices.find(device);
  if (entry == state().devices.end() || !entry->second.service) return;
  state().registry.sendMessage(*entry->second.service, messageType, argument);
}

Device& device(DeviceId device) { return *state().devices.at(device).device; }

void failNext(Operation operation, IOReturn result, int count) {
  state().refusals[operation] = {result, count};
}

Outstanding outstanding() {
  const device_registry::Registry& registry = state().registry;
  return {registry.objectReferences(), registry.connectionCount(), registry.portCount(),
          registry.masterPortCount()};
}

const std::vector<Request>& requests() { return state().requests; }

void reset() {
  state().registry.forgetServices();
  state().registry.forgetClients();
  state().devices.clear();
  state().refusals.clear();
  state().requests.clear();
}

}  // namespace memory_registry

device_registry::Registry& device_registry::registry() { return state().registry; }

using device_registry::registry;

IOReturn IOMasterPort(mach_port_t* port) {
  *port = 0;
  if (const IOReturn result = refused(Operation::kMasterPort)) return result;
  const bool first = !registry().isOpen();
  *port = registry().addMasterPort();
  if (first) {
    for (auto& [id, published] : state().devices) announce(id, published);
  }
  return kIOReturnSuccess;
}

void mach_port_deallocate(mach_port_t port) {
  registry().removeMasterPort(port);
  if (registry().isOpen()) return;
  registry().forgetServices();
  for (auto& [id, published] : state().devices) published.service = nullptr;
}

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort) {
  if (refused(Operation::kNotificationPortCreate)) return nullptr;
  return registry().createPort(masterPort);
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port) {
  if (refused(Operation::kGetRunLoopSource)) return nullptr;
  return registry().runLoopSource(port);
}

IOReturn IOServiceAddMatchingNotification(IONotificationPortRef port, const char* kind,
                                          const CFDictionary& matching,
                                          IOServiceMatchingCallback callback, void* refcon,
                                          io_iterator_t* iterator) {
  *iterator = 0;
  const bool publish = kind == std::string_view(kIOPublishNotification);
  if (const IOReturn result = refused(publish ? Operation::kAddPublishNotification
                                              : Operation::kAddTerminateNotification)) {
    return result;
  }
  return registry().addMatchingNotification(port, kind, matching, callback, refcon, iterator);
}

IOReturn IOServiceAddInterestNotification(IONotificationPortRef port, io_service_t service,
                                          const char* kind, IOServiceInterestCallback callback,
                                          void* refcon, io_object_t* notification) {
  *notification = 0;
  if (const IOReturn result = refused(Operation::kAddInterestNotification)) return result;
  return registry().addInterestNotification(port, service, kind, callback, refcon, notification);
}

IOReturn IOServiceGetMatchingServices(mach_port_t masterPort, const CFDictionary& matching,
                                      io_iterator_t* iterator) {
  *iterator = 0;
  if (const IOReturn result = refused(Operation::kGetMatchingServices)) return result;
  return registry().matchingServices(masterPort, matching, iterator);
}

IOReturn IORegistryEntryCreateCFProperties(io_service_t service, CFDictionary* properties) {
  if (const IOReturn result = refused(Operation::kCreateProperties)) return result;
  return registry().readProperties(service, properties);
}

IOReturn IOServiceOpen(io_service_t service, std::uint32_t type, io_connect_t* connection) {
  *connection = 0;
  if (const IOReturn result = refused(Operation::kServiceOpen)) return result;
  return registry().open(service, type, connection);
}

IOReturn IOConnectMethodStructureIStructureO(io_connect_t connection, std::uint32_t selector,
                                             std::span<const std::uint8_t> input,
                                             std::span<std::uint8_t> output,
                                             std::size_t* outputSize) {
  if (const IOReturn result = refused(Operation::kConnectMethod)) return result;
  return registry().call(connection, selector, input, output, outputSize);
}
