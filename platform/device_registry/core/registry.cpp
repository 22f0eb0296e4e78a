// SPDX-License-Identifier: MIT
#include "platform/device_registry/core/registry.h"

namespace device_registry {

void Registry::publish(const std::shared_ptr<Service>& service) {
  service->setPresent(true);
  services.push_back(service);
  for (const auto& port : ports) port->source->queueService(kIOPublishNotification, service);
}

void Registry::terminate(const std::shared_ptr<Service>& service) {
  if (!service->isPresent()) return;
  service->setPresent(false);
  for (const auto& port : ports) {
    port->source->drop(*service);
    if (service->handedOutTurn()) port->source->queueService(kIOTerminatedNotification, service);
  }
  std::erase(services, service);
}

void Registry::terminateAll() {
  const auto present = services;
  for (const auto& service : present) terminate(service);
}

void Registry::sendMessage(const Service& service, natural_t type,
                           std::span<const std::uint8_t> argument) {
  for (const auto& port : ports) port->source->queueMessage(service, type, argument);
}

void Registry::wakePorts() {
  for (const auto& port : ports) port->source->wake();
}

void Registry::close() {
  for (const auto& service : services) service->setPresent(false);
  services.clear();
  disconnect();
}

}  // namespace device_registry
