// SPDX-License-Identifier: MIT
#include "driver/service/publication.h"

#include <algorithm>
#include <array>

#include "protocol/services.h"

namespace driver {

namespace {

int appendRoutings(sd_bus_message* message, const Routings& routings) {
  return sd_bus_message_append(message, "{sv}", kRoutingsKey, "a{sv}", 5,  // five entries
                               routingKey(false, 0).c_str(), "i", routings.outputs[0],  //
                               routingKey(false, 1).c_str(), "i", routings.outputs[1],  //
                               routingKey(true, 0).c_str(), "i", routings.inputs[0],    //
                               routingKey(true, 1).c_str(), "i", routings.inputs[1],    //
                               routingKey(true, 2).c_str(), "i", routings.inputs[2]);
}

// Appends the unique id as 8 bytes.
int appendUid(sd_bus_message* message, std::uint64_t uid) {
  std::array<std::uint8_t, 8> bytes{};
  wire::store(bytes, 0, uid);
  int result = sd_bus_message_open_container(message, 'e', "sv");
  if (result >= 0) result = sd_bus_message_append(message, "s", kOrbekUidKey);
  if (result >= 0) result = sd_bus_message_open_container(message, 'v', "ay");
  if (result >= 0) result = sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size());
  if (result >= 0) result = sd_bus_message_close_container(message);
  if (result >= 0) result = sd_bus_message_close_container(message);
  return result;
}

// Appends the registry properties as an a{sv}. Negative errno on failure.
int appendRegistryProperties(sd_bus_message* message, const RegistryEntry& entry) {
  int result = sd_bus_message_open_container(message, 'a', "{sv}");
  if (result >= 0) {
    result = sd_bus_message_append(message, "{sv}{sv}{sv}", kVendorIdKey, "q", entry.vendorId,
                                   kProductIdKey, "q", entry.productId, kProductNameKey, "s",
                                   entry.productName.c_str());
  }
  if (result >= 0) result = appendRoutings(message, entry.routings);
  if (result >= 0 && entry.orbekUid) result = appendUid(message, *entry.orbekUid);
  return result < 0 ? result : sd_bus_message_close_container(message);
}

}  // namespace

const sd_bus_vtable Publication::kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY(kClassNameProperty, "s", &Publication::getClassName, 0,
                    SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY(kRegistryProperties, "a{sv}", &Publication::getProperties, 0,
                    SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_METHOD_WITH_NAMES(kOpenMethod, "u", SD_BUS_PARAM(type), "h", SD_BUS_PARAM(connection),
                             &Publication::onOpen, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES(kMessageSignal, "uay", SD_BUS_PARAM(type) SD_BUS_PARAM(argument), 0),
    SD_BUS_VTABLE_END};

std::unique_ptr<Publication> Publication::publish(ServiceContext& context, const std::string& path,
                                                  Interface& interface, RequestHandler& handler,
                                                  Owner& owner) {
  std::unique_ptr<Publication> publication(
      new Publication(context, path, interface, handler, owner));
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_object_vtable(context.bus, &slot, publication->path_.c_str(), kServiceInterface,
                               kVtable, publication.get()) < 0) {
    return nullptr;
  }
  publication->slot_.reset(slot);
  if (sd_bus_emit_object_added(context.bus, publication->path_.c_str()) < 0) return nullptr;
  return publication;
}

Publication::Publication(ServiceContext& context, const std::string& path, Interface& interface,
                         RequestHandler& handler, Owner& owner)
    : context_(context),
      path_(path),
      interface_(interface),
      handler_(handler),
      owner_(owner),
      announced_(interface.registryEntry()) {}

Publication::~Publication() {
  if (slot_) sd_bus_emit_object_removed(context_.bus, path_.c_str());
  for (const auto& connection : connections_) context_.clients.remove(connection.get());
}

void Publication::announce(std::uint32_t notification) {
  if (const RegistryEntry now = interface_.registryEntry(); now != announced_) {
    announced_ = now;
    sd_bus_emit_properties_changed(context_.bus, path_.c_str(), kServiceInterface,
                                   kRegistryProperties, nullptr);
  }
  sendMessage(kDriverMessage, kDriverMessageSize, notification);
}

void Publication::sendMessage(std::uint32_t type, std::uint32_t sizeWord,
                              std::uint32_t notification) {
  const auto argument = driverMessageArgument(notification, sizeWord);
  sd_bus_message* raw = nullptr;
  if (sd_bus_message_new_signal(context_.bus, &raw, path_.c_str(), kServiceInterface,
                                kMessageSignal) < 0) {
    return;
  }
  const BusMessage message(raw);
  if (sd_bus_message_append(raw, "u", type) >= 0 &&
      sd_bus_message_append_array(raw, 'y', argument.data(), argument.size()) >= 0) {
    sd_bus_send(context_.bus, raw, nullptr);
  }
}

void Publication::setPaused(bool paused) {
  paused_ = paused;
  for (const auto& connection : connections_) connection->setPaused(paused);
}

void Publication::connectionClosed(ClientConnection* connection) {
  context_.clients.remove(connection);
  std::erase_if(connections_, [connection](const auto& open) { return open.get() == connection; });
}

int Publication::onOpen(sd_bus_message* call, void* self, sd_bus_error* error) noexcept {
  auto* publication = static_cast<Publication*>(self);
  std::uint32_t type = 0;
  const int result = sd_bus_message_read(call, "u", &type);
  if (result < 0) return result;
  if (type != kDispatchConnectionType) {
    return sd_bus_error_setf(error, SD_BUS_ERROR_INVALID_ARGS, "There is no connection type %u",
                             type);
  }
  ServiceContext& context = publication->context_;
  const std::string name = sd_bus_message_get_sender(call);  // a bus names the sender of each call
  FileDescriptor client;
  auto connection =
      context.clients.mayOpen(name)
          ? ClientConnection::open(context.event, publication->handler_, *publication, &client)
          : nullptr;
  if (!connection || !context.clients.add(name, *connection, *publication)) {
    return sd_bus_error_set(error, SD_BUS_ERROR_LIMITS_EXCEEDED, "Too many open connections");
  }
  connection->setPaused(publication->paused_);
  publication->connections_.push_back(std::move(connection));
  return sd_bus_reply_method_return(call, "h", client.get());
}

int Publication::getClassName(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                              void* self, sd_bus_error*) noexcept {
  auto* publication = static_cast<Publication*>(self);
  return sd_bus_message_append(reply, "s", publication->announced_.className.c_str());
}

int Publication::getProperties(sd_bus*, const char*, const char*, const char*,
                               sd_bus_message* reply, void* self, sd_bus_error*) noexcept {
  return appendRegistryProperties(reply, static_cast<Publication*>(self)->announced_);
}

}  // namespace driver
