// SPDX-License-Identifier: MIT
// The operations of the contract, for every back end.
#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "platform/device_registry/core/registry.h"
#include "platform/device_registry/device_registry.h"

namespace {

using device_registry::Interest;
using device_registry::Iterator;
using device_registry::Object;
using device_registry::Operation;
using device_registry::PortSource;
using device_registry::Registry;
using device_registry::registry;
using device_registry::Service;

// The class name in `matching`; empty when it is missing.
std::string classNameOf(const CFDictionary& matching) {
  const auto* name = CFDictionaryGet<std::string>(matching, kIOProviderClassKey);
  return name ? *name : std::string();
}

// Null for a port that does not exist, such as one that was destroyed earlier.
PortSource* sourceOf(IONotificationPortRef port) {
  const auto& ports = registry().ports;
  const bool exists = std::any_of(ports.begin(), ports.end(),
                                  [port](const auto& entry) { return entry.get() == port; });
  return exists ? port->source.get() : nullptr;
}

void addPresentServices(Iterator& iterator) {
  for (const auto& service : registry().services) {
    if (service->className() == iterator.className) iterator.items.push_back({0, service});
  }
}

IOReturn findPresent(io_service_t handle, std::shared_ptr<Service>* service) {
  *service = registry().objects->find<Service>(handle);
  if (!registry().isOpen() || !*service) return kIOReturnBadArgument;
  return (*service)->isPresent() ? kIOReturnSuccess : kIOReturnNoDevice;
}

}  // namespace

// --- The registry and its ports ---

IOReturn IOMasterPort(mach_port_t* port) {
  *port = 0;
  if (const IOReturn result = registry().refusal(Operation::kMasterPort)) return result;
  if (!registry().isOpen()) {
    if (const IOReturn result = registry().connect()) {
      registry().close();
      return result;
    }
  }
  auto object = std::make_shared<Object>(registry().numbers);
  *port = object->number();
  registry().masterPorts.emplace(*port, std::move(object));
  return kIOReturnSuccess;
}

void mach_port_deallocate(mach_port_t port) {
  registry().masterPorts.erase(port);
  if (!registry().isOpen()) registry().close();
}

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort) {
  if (registry().refusal(Operation::kNotificationPortCreate)) return nullptr;
  if (!registry().masterPorts.contains(masterPort)) return nullptr;
  auto source = PortSource::create(
      {[] { registry().beginTurn(); }, registry().incoming(), registry().objects});
  if (!source) return nullptr;
  auto port = std::make_unique<IONotificationPort>(IONotificationPort{std::move(source)});
  return registry().ports.emplace_back(std::move(port)).get();
}

void IONotificationPortDestroy(IONotificationPortRef port) {
  if (PortSource* source = sourceOf(port)) source->close();
  std::erase_if(registry().ports, [port](const auto& entry) { return entry.get() == port; });
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port) {
  if (registry().refusal(Operation::kGetRunLoopSource)) return nullptr;
  return sourceOf(port) ? port->source : nullptr;
}

// --- Notifications and iterators ---

CFDictionary IOServiceMatching(std::string_view className) {
  if (className.empty()) return {};
  return {{kIOProviderClassKey, std::string(className)}};
}

IOReturn IOServiceAddMatchingNotification(IONotificationPortRef port, const char* kind,
                                          const CFDictionary& matching,
                                          IOServiceMatchingCallback callback, void* refcon,
                                          io_iterator_t* iterator) {
  *iterator = 0;
  const bool publish = kind == std::string_view(kIOPublishNotification);
  const auto operation =
      publish ? Operation::kAddPublishNotification : Operation::kAddTerminateNotification;
  if (const IOReturn result = registry().refusal(operation)) return result;
  PortSource* source = sourceOf(port);
  if (!registry().isOpen() || !source ||
      (!publish && kind != std::string_view(kIOTerminatedNotification))) {
    return kIOReturnBadArgument;
  }
  auto made = std::make_shared<Iterator>(registry().numbers);
  made->className = classNameOf(matching);
  if (made->className.empty()) return kIOReturnBadArgument;
  registry().receive();
  made->port = source->weak_from_this();
  made->kind = kind;
  made->callback = callback;
  made->refcon = refcon;
  if (publish) addPresentServices(*made);
  source->add(made);
  *iterator = registry().objects->give(std::move(made));
  return kIOReturnSuccess;
}

IOReturn IOServiceAddInterestNotification(IONotificationPortRef port, io_service_t service,
                                          const char* kind, IOServiceInterestCallback callback,
                                          void* refcon, io_object_t* notification) {
  *notification = 0;
  if (const IOReturn result = registry().refusal(Operation::kAddInterestNotification)) {
    return result;
  }
  PortSource* source = sourceOf(port);
  if (!source || kind != std::string_view(kIOGeneralInterest)) return kIOReturnBadArgument;
  auto made = std::make_shared<Interest>(registry().numbers);
  if (const IOReturn result = findPresent(service, &made->service)) return result;
  made->callback = callback;
  made->refcon = refcon;
  source->add(made);
  *notification = registry().objects->give(std::move(made));
  return kIOReturnSuccess;
}

IOReturn IOServiceGetMatchingServices(mach_port_t masterPort, const CFDictionary& matching,
                                      io_iterator_t* iterator) {
  *iterator = 0;
  if (const IOReturn result = registry().refusal(Operation::kGetMatchingServices)) return result;
  auto made = std::make_shared<Iterator>(registry().numbers);
  made->className = classNameOf(matching);
  if (!registry().masterPorts.contains(masterPort) || made->className.empty()) {
    return kIOReturnBadArgument;
  }
  registry().receive();
  addPresentServices(*made);
  *iterator = registry().objects->give(std::move(made));
  return kIOReturnSuccess;
}

io_object_t IOIteratorNext(io_iterator_t handle) {
  const auto iterator = registry().objects->find<Iterator>(handle);
  if (!iterator) return 0;
  std::shared_ptr<Service> service;
  if (const auto port = iterator->port.lock()) {
    registry().receive();
    service = port->next(*iterator);
  } else {
    while (!iterator->items.empty() && !(service && service->isPresent())) {
      service = std::move(iterator->items.front().service);
      iterator->items.pop_front();
    }
    if (service && !service->isPresent()) service.reset();
  }
  if (!service) return 0;
  service->handOut(registry().turn);
  return registry().objects->give(std::move(service));
}

void IOObjectRetain(io_object_t object) { registry().objects->retain(object); }

void IOObjectRelease(io_object_t object) { registry().objects->release(object); }

// --- Services and connections ---

IOReturn IORegistryEntryCreateCFProperties(io_service_t handle, CFDictionary* properties) {
  if (const IOReturn result = registry().refusal(Operation::kCreateProperties)) return result;
  std::shared_ptr<Service> service;
  if (const IOReturn result = findPresent(handle, &service)) return result;
  return service->readProperties(properties);
}

IOReturn IOServiceOpen(io_service_t service, std::uint32_t type, io_connect_t* connection) {
  *connection = 0;
  if (const IOReturn result = registry().refusal(Operation::kServiceOpen)) return result;
  Registry::OpenConnection made;
  if (const IOReturn result = findPresent(service, &made.service)) return result;
  if (const IOReturn result = made.service->open(type, &made.connection)) return result;
  *connection = made.connection->number();
  registry().connections.emplace(*connection, std::move(made));
  return kIOReturnSuccess;
}

IOReturn IOServiceClose(io_connect_t connection) {
  return registry().connections.erase(connection) > 0 ? kIOReturnSuccess : kIOReturnNotOpen;
}

IOReturn IOConnectMethodStructureIStructureO(io_connect_t handle, std::uint32_t selector,
                                             std::span<const std::uint8_t> input,
                                             std::span<std::uint8_t> output,
                                             std::size_t* outputSize) {
  if (const IOReturn result = registry().refusal(Operation::kConnectMethod)) return result;
  const auto entry = registry().connections.find(handle);
  if (!registry().isOpen() || entry == registry().connections.end()) return kIOReturnNotOpen;
  if (!entry->second.service->isPresent()) return kIOReturnNoDevice;
  const auto connection = entry->second.connection;  // the call may close it
  return connection->call(selector, input, output, outputSize);
}
