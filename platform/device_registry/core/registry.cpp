// SPDX-License-Identifier: MIT
#include "platform/device_registry/core/registry.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace device_registry {

namespace {

// The class name in `matching`; empty when there is none.
std::string classNameOf(const CFDictionary& matching) {
  const auto* name = CFDictionaryGet<std::string>(matching, kIOProviderClassKey);
  return name ? *name : std::string();
}

}  // namespace

void Registry::publish(const std::shared_ptr<Service>& service) {
  service->setPresent(true);
  services_.push_back(service);
  for (const auto& port : ports_) port->source->queueService(kIOPublishNotification, service);
}

void Registry::terminate(const std::shared_ptr<Service>& service) {
  if (!service->isPresent()) return;
  service->setPresent(false);
  for (const auto& port : ports_) port->source->queueService(kIOTerminatedNotification, service);
  std::erase(services_, service);
}

void Registry::terminateAll() {
  const auto services = services_;
  for (const auto& service : services) terminate(service);
}

void Registry::sendMessage(const Service& service, natural_t type,
                           std::span<const std::uint8_t> argument) {
  for (const auto& port : ports_) port->source->queueMessage(service, type, argument);
}

void Registry::wakePorts() {
  for (const auto& port : ports_) port->source->wake();
}

void Registry::forgetServices() {
  for (const auto& service : services_) service->setPresent(false);
  services_.clear();
}

void Registry::forgetClients() {
  for (const auto& port : ports_) port->source->close();
  ports_.clear();
  connections_.clear();
  masterPorts_.clear();
  objects_->clear();
}

mach_port_t Registry::addMasterPort() {
  auto port = std::make_shared<Object>(numbers_);
  const mach_port_t handle = port->number();
  masterPorts_.emplace(handle, std::move(port));
  return handle;
}

IONotificationPortRef Registry::createPort(mach_port_t masterPort, int incoming) {
  if (!masterPorts_.contains(masterPort)) return nullptr;
  auto source = PortSource::create({receive_, incoming, objects_});
  if (!source) return nullptr;
  ports_.push_back(std::make_unique<IONotificationPort>(IONotificationPort{std::move(source)}));
  return ports_.back().get();
}

void Registry::destroyPort(IONotificationPortRef port) {
  if (PortSource* source = sourceOf(port)) source->close();
  std::erase_if(ports_, [port](const auto& entry) { return entry.get() == port; });
}

CFRunLoopSourceRef Registry::runLoopSource(IONotificationPortRef port) const {
  return sourceOf(port) ? port->source : nullptr;
}

// Null for a pointer that is no port of this registry, for example one that was destroyed.
PortSource* Registry::sourceOf(IONotificationPortRef port) const {
  const bool known = std::any_of(ports_.begin(), ports_.end(),
                                 [port](const auto& entry) { return entry.get() == port; });
  return known ? port->source.get() : nullptr;
}

void Registry::addPresentServices(Iterator& iterator) const {
  for (const auto& service : services_) {
    if (service->className() == iterator.className) iterator.items.push_back({0, service});
  }
}

IOReturn Registry::addMatchingNotification(IONotificationPortRef port, const char* kind,
                                           const CFDictionary& matching,
                                           IOServiceMatchingCallback callback, void* refcon,
                                           io_iterator_t* iterator) {
  *iterator = 0;
  PortSource* source = sourceOf(port);
  const bool publish = kind == std::string_view(kIOPublishNotification);
  if (!isOpen() || !source || (!publish && kind != std::string_view(kIOTerminatedNotification))) {
    return kIOReturnBadArgument;
  }
  auto made = std::make_shared<Iterator>(numbers_);
  made->className = classNameOf(matching);
  if (made->className.empty()) return kIOReturnBadArgument;
  receive();
  made->port = source->weak_from_this();
  made->kind = kind;
  made->callback = callback;
  made->refcon = refcon;
  if (publish) addPresentServices(*made);
  source->add(made);
  *iterator = objects_->give(std::move(made));
  return kIOReturnSuccess;
}

IOReturn Registry::addInterestNotification(IONotificationPortRef port, io_service_t service,
                                           const char* kind, IOServiceInterestCallback callback,
                                           void* refcon, io_object_t* notification) {
  *notification = 0;
  PortSource* source = sourceOf(port);
  if (!source || kind != std::string_view(kIOGeneralInterest)) return kIOReturnBadArgument;
  auto made = std::make_shared<Interest>(numbers_);
  if (const IOReturn result = findPresent(service, &made->service)) return result;
  made->callback = callback;
  made->refcon = refcon;
  source->add(made);
  *notification = objects_->give(std::move(made));
  return kIOReturnSuccess;
}

IOReturn Registry::matchingServices(mach_port_t masterPort, const CFDictionary& matching,
                                    io_iterator_t* iterator) {
  *iterator = 0;
  auto made = std::make_shared<Iterator>(numbers_);
  made->className = classNameOf(matching);
  if (!masterPorts_.contains(masterPort) || made->className.empty()) return kIOReturnBadArgument;
  receive();
  addPresentServices(*made);
  *iterator = objects_->give(std::move(made));
  return kIOReturnSuccess;
}

io_object_t Registry::next(io_iterator_t handle) {
  const auto iterator = objects_->find<Iterator>(handle);
  if (!iterator) return 0;
  std::shared_ptr<Service> service;
  if (const auto port = iterator->port.lock()) {
    receive();
    service = port->next(*iterator);
  } else if (!iterator->items.empty()) {
    service = std::move(iterator->items.front().service);
    iterator->items.pop_front();
  }
  return service ? objects_->give(std::move(service)) : 0;
}

IOReturn Registry::findPresent(io_service_t handle, std::shared_ptr<Service>* service) const {
  *service = objects_->find<Service>(handle);
  if (!isOpen() || !*service) return kIOReturnBadArgument;
  return (*service)->isPresent() ? kIOReturnSuccess : kIOReturnNoDevice;
}

IOReturn Registry::readProperties(io_service_t handle, CFDictionary* properties) const {
  std::shared_ptr<Service> service;
  if (const IOReturn result = findPresent(handle, &service)) return result;
  return service->readProperties(properties);
}

IOReturn Registry::open(io_service_t handle, std::uint32_t type, io_connect_t* connection) {
  *connection = 0;
  OpenConnection made;
  if (const IOReturn result = findPresent(handle, &made.service)) return result;
  if (const IOReturn result = made.service->open(type, &made.connection)) return result;
  *connection = made.connection->number();
  connections_.emplace(*connection, std::move(made));
  return kIOReturnSuccess;
}

IOReturn Registry::close(io_connect_t connection) {
  return connections_.erase(connection) > 0 ? kIOReturnSuccess : kIOReturnNotOpen;
}

IOReturn Registry::call(io_connect_t handle, std::uint32_t selector,
                        std::span<const std::uint8_t> input, std::span<std::uint8_t> output,
                        std::size_t* outputSize) {
  const auto entry = connections_.find(handle);
  if (!isOpen() || entry == connections_.end()) return kIOReturnNotOpen;
  if (!entry->second.service->isPresent()) return kIOReturnNoDevice;
  const auto connection = entry->second.connection;  // a scripted driver may close it in the call
  return connection->call(selector, input, output, outputSize);
}

}  // namespace device_registry
