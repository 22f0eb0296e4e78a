// SPDX-License-Identifier: MIT
#include "platform/device_registry/contract_world.h"
#include "platform/device_registry/memory/memory_registry.h"

namespace {

class MemoryWorld : public ContractWorld {
 public:
  ~MemoryWorld() override { memory_registry::reset(); }

  int publish(Device device) override {
    memory_registry::Device made{device.className, device.properties, {}};
    if (device.respond) {
      made.respond = [respond = device.respond](std::uint32_t selector,
                                                std::span<const std::uint8_t> request) {
        return respond(selector, Bytes(request.begin(), request.end()));
      };
    }
    return static_cast<int>(memory_registry::publish(std::move(made)));
  }
  void terminate(int device) override { memory_registry::terminate(id(device)); }
  void sendMessage(int device, std::uint32_t type, const Bytes& argument) override {
    memory_registry::sendMessage(id(device), type, argument);
  }
  void changeProperties(int device, CFDictionary properties) override {
    memory_registry::device(id(device)).properties = std::move(properties);
  }
  void arrive() override {}

 private:
  static memory_registry::DeviceId id(int device) {
    return static_cast<memory_registry::DeviceId>(device);
  }
};

}  // namespace

std::unique_ptr<ContractWorld> makeContractWorld() { return std::make_unique<MemoryWorld>(); }
