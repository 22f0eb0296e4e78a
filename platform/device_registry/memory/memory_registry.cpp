// SPDX-License-Identifier: MIT
#include "platform/device_registry/memory/memory_registry.h"

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

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

class MemoryRegistry : public device_registry::Registry {
 public:
  IOReturn connect() override;
  void disconnect() override;
  IOReturn refusal(Operation operation) override;
  // Publishes the service of a device.
  void publishDevice(DeviceId id, Published& published);

  std::map<DeviceId, Published> devices;
  DeviceId lastDevice = 0;
  std::map<Operation, Refusal> refusals;
  std::vector<Request> requests;
};

MemoryRegistry& registry() {
  static MemoryRegistry theRegistry;
  return theRegistry;
}

class MemoryConnection : public device_registry::Connection {
 public:
  MemoryConnection(DeviceId id, std::shared_ptr<Device> device, std::uint32_t type)
      : Connection(registry().numbers), id_(id), device_(std::move(device)), type_(type) {}

  IOReturn call(std::uint32_t selector, std::span<const std::uint8_t> input,
                std::span<std::uint8_t> output, std::size_t* outputSize) override {
    const std::vector<std::uint8_t> request(input.begin(), input.end());
    registry().requests.push_back({id_, type_, selector, request});
    const auto respond = device_->respond;  // a copy: the script may replace itself
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
      : Service(registry().numbers, device->className), id_(id), device_(std::move(device)) {}

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

IOReturn MemoryRegistry::connect() {
  for (auto& [id, published] : devices) publishDevice(id, published);
  return kIOReturnSuccess;
}

void MemoryRegistry::disconnect() {
  for (auto& [id, published] : devices) published.service = nullptr;
}

IOReturn MemoryRegistry::refusal(Operation operation) {
  Refusal& refusal = refusals[operation];
  if (refusal.count == 0) return kIOReturnSuccess;
  --refusal.count;
  return refusal.result;
}

void MemoryRegistry::publishDevice(DeviceId id, Published& published) {
  published.service = std::make_shared<MemoryService>(id, published.device);
  publish(published.service);
}

}  // namespace

device_registry::Registry& device_registry::registry() { return ::registry(); }

namespace memory_registry {

DeviceId publish(Device device) {
  const DeviceId id = ++registry().lastDevice;
  Published& published = registry().devices[id];
  published.device = std::make_shared<Device>(std::move(device));
  if (registry().isOpen()) registry().publishDevice(id, published);
  return id;
}

void terminate(DeviceId device) {
  const auto entry = registry().devices.find(device);
  if (entry == registry().devices.end()) return;
  if (entry->second.service) registry().terminate(entry->second.service);
  registry().devices.erase(entry);
}

void sendMessage(DeviceId device, natural_t messageType, std::vector<std::uint8_t> argument) {
  const auto entry = registry().devices.find(device);
  if (entry == registry().devices.end() || !entry->second.service) return;
  registry().sendMessage(*entry->second.service, messageType, argument);
}

Device& device(DeviceId device) { return *registry().devices.at(device).device; }

void failNext(Operation operation, IOReturn result, int count) {
  registry().refusals[operation] = {result, count};
}

Outstanding outstanding() {
  return {registry().objects->references(), registry().connections.size(), registry().ports.size(),
          registry().masterPorts.size()};
}

const std::vector<Request>& requests() { return registry().requests; }

void reset() {
  registry().close();
  for (const auto& port : registry().ports) port->source->close();
  registry().ports.clear();
  registry().connections.clear();
  registry().masterPorts.clear();
  registry().objects->clear();
  registry().devices.clear();
  registry().refusals.clear();
  registry().requests.clear();
}

}  // namespace memory_registry
