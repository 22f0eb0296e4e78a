// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/driver_bus.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/device_registry/dbus/driver_service.h"
#include "platform/device_registry/dbus/property_values.h"
#include "protocol/services.h"

namespace device_registry {

namespace {

constexpr const char* kBusName = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";

// How many messages one receive() processes; the run loop calls it again for the rest.
constexpr int kReceiveLimit = 1000;

// Processes the messages that `bus` has received, up to the limit. Returns a negative number when
// the bus connection is lost, 1 when there may be more messages, 0 when there are none.
int processReceived(sd_bus* bus) {
  for (int i = 0; i < kReceiveLimit; ++i) {
    const int result = sd_bus_process(bus, nullptr);
    if (result <= 0) return result;
  }
  return 1;
}

// Reads the interfaces of one object ("a{sa{sv}}") and advances past them. Returns the service's
// class name, empty if it has none; nullopt when the object is not a service.
std::optional<std::string> readClassName(sd_bus_message* message) {
  std::optional<std::string> className;
  if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sa{sv}}") <= 0) return {};
  while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sa{sv}") > 0) {
    const char* interface = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &interface) <= 0) return {};
    const auto properties = readDictionary(message);
    if (!properties) return {};
    if (interface == std::string_view(kServiceInterface)) {
      const auto* name = CFDictionaryGet<std::string>(*properties, kClassNameProperty);
      className = name ? *name : std::string();
    }
    if (sd_bus_message_exit_container(message) < 0) return {};
  }
  sd_bus_message_exit_container(message);
  return className;
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

// Pops the next token: a run of digits, leading zeros stripped, or one other character.
std::string_view takePart(std::string_view& text) {
  std::size_t size = 0;
  while (size < text.size() && isDigit(text[size])) ++size;
  std::string_view part = text.substr(0, std::max<std::size_t>(size, 1));
  text.remove_prefix(part.size());
  while (part.size() > 1 && part.front() == '0') part.remove_prefix(1);
  return part;
}

// Compares runs of digits as numbers: "service9" comes before "service10".
struct NaturalOrder {
  bool operator()(std::string_view left, std::string_view right) const {
    const std::pair whole(left, right);
    while (!left.empty() && !right.empty()) {
      const std::string_view a = takePart(left);
      const std::string_view b = takePart(right);
      // Without leading zeros, the number with more digits is the larger.
      if (a.size() != b.size() && isDigit(a[0]) && isDigit(b[0])) return a.size() < b.size();
      if (a != b) return a < b;
    }
    if (left.empty() != right.empty()) return left.empty();
    return whole.first < whole.second;
  }
};

// Whether an object is below the driver's object manager.
bool isServicePath(std::string_view path) {
  const std::string folder = std::string(kDriverPath) + "/";
  return path.size() > folder.size() && path.starts_with(folder);
}

}  // namespace

IOReturn DriverBus::connect() {
  const Deadline deadline(kRegistryCallLimitMs);
  if (session_bus::startSessionBus(&bus_) < 0 || !calls_.connect() || !addMatches()) {
    return kIOReturnError;
  }
  const std::array buses{bus_.get(), calls_.bus()};
  while (!isReady() || !settled_) {
    int more = 0;
    for (sd_bus* bus : buses) {
      const int result = processReceived(bus);
      if (result < 0) return kIOReturnError;
      more |= result;
    }
    if (deadline.hasPassed()) return isReady() ? kIOReturnSuccess : kIOReturnTimeout;
    if (more == 0 && !(isReady() && settled_)) session_bus::waitForBuses(buses, deadline);
  }
  return kIOReturnSuccess;
}

bool DriverBus::isReady() const {
  return sd_bus_is_ready(bus_.get()) > 0 && sd_bus_is_ready(calls_.bus()) > 0;
}

// The bus handles the requests of one connection in order: the matches are in place before it
// answers GetNameOwner, and the services are listed after that. So no signal is missed in between.
bool DriverBus::addMatches() {
  const std::string fromDriver = std::string("type='signal',sender='") + kDriverName + "',";
  const std::string manager =
      fromDriver + "interface='" + kObjectManagerInterface + "',path='" + kDriverPath + "',member=";
  const std::string ownerChange = std::string("type='signal',sender='") + kBusName +
                                  "',interface='" + kBusName + "',path='" + kBusPath +
                                  "',member='NameOwnerChanged',arg0='" + kDriverName + "'";
  const std::string message = fromDriver + "interface='" + kServiceInterface +
                              "',path_namespace='" + kDriverPath + "',member='" + kMessageSignal +
                              "'";
  const auto add = [this](const std::string& match, sd_bus_message_handler_t handler) {
    return sd_bus_add_match_async(bus_.get(), nullptr, match.c_str(), handler, nullptr, this) >= 0;
  };
  return add(ownerChange, ownerChanged) && add(manager + "'InterfacesAdded'", interfacesAdded) &&
         add(manager + "'InterfacesRemoved'", interfacesRemoved) && add(message, messageSent) &&
         sd_bus_call_method_async(bus_.get(), nullptr, kBusName, kBusPath, kBusName, "GetNameOwner",
                                  ownerKnown, this, "s", kDriverName) >= 0;
}

void DriverBus::receive() {
  if (!bus_) return;
  const int result = processReceived(bus_.get());
  if (result < 0 || sd_bus_is_open(bus_.get()) <= 0) {
    lose();
  } else if (result > 0) {
    registry_.wakePorts();
  }
}

int DriverBus::descriptor() const { return bus_ ? sd_bus_get_fd(bus_.get()) : -1; }

void DriverBus::lose() {
  setOwner("");
  bus_.reset();
}

void DriverBus::setOwner(const std::string& owner) {
  if (owner == owner_) return;
  services_.clear();
  registry_.terminateAll();
  listing_.reset();
  owner_ = owner;
  calls_.setOwner(owner);
  if (!owner.empty()) listServices();
}

// Asks the bus to start the driver service if it is installed. A started driver is seen as a new
// owner of the name.
void DriverBus::startDriver() {
  if (sd_bus_call_method_async(bus_.get(), nullptr, kBusName, kBusPath, kBusName,
                               "StartServiceByName", driverStarted, this, "su", kDriverName,
                               0) < 0) {
    settled_ = true;
  }
}

// The call has no time-out: a late answer is processed when it arrives.
void DriverBus::listServices() {
  sd_bus_message* request = nullptr;
  sd_bus_slot* slot = nullptr;
  if (sd_bus_message_new_method_call(bus_.get(), &request, owner_.c_str(), kDriverPath,
                                     kObjectManagerInterface, "GetManagedObjects") < 0) {
    return;
  }
  const BusMessage owned(request);
  if (sd_bus_call_async(bus_.get(), &slot, request, servicesListed, this, UINT64_MAX) >= 0) {
    listing_.reset(slot);
  }
}

bool DriverBus::isFromOwner(sd_bus_message* message) const {
  const char* sender = sd_bus_message_get_sender(message);
  return sender && !owner_.empty() && owner_ == sender;
}

// `className` is nullopt for an object that is not a service.
void DriverBus::addService(const std::string& path, const std::optional<std::string>& className) {
  if (!className || !isServicePath(path) || services_.contains(path)) return;
  auto service = std::make_shared<DriverService>(registry_.numbers(), *className, path, calls_);
  services_.emplace(path, service);
  registry_.publish(service);
}

void DriverBus::removeService(const std::string& path) {
  const auto entry = services_.find(path);
  if (entry == services_.end()) return;
  registry_.terminate(entry->second);
  services_.erase(entry);
}

int DriverBus::ownerKnown(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  const char* owner = nullptr;
  if (sd_bus_message_is_method_error(message, nullptr) == 0 &&
      sd_bus_message_read(message, "s", &owner) > 0) {
    bus.setOwner(owner);
  } else {
    bus.startDriver();
  }
  return 0;
}

// On success nothing is left to do: NameOwnerChanged has arrived before this reply.
int DriverBus::driverStarted(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  if (sd_bus_message_is_method_error(message, nullptr)) {
    static_cast<DriverBus*>(self)->settled_ = true;
  }
  return 0;
}

int DriverBus::ownerChanged(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  if (sd_bus_message_read(message, "sss", &name, &before, &after) > 0 &&
      name == std::string_view(kDriverName)) {
    static_cast<DriverBus*>(self)->setOwner(after);
  }
  return 0;
}

int DriverBus::servicesListed(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  bus.settled_ = true;
  if (sd_bus_message_is_method_error(message, nullptr) ||
      sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{oa{sa{sv}}}") <= 0) {
    return 0;
  }
  // The bus lists objects in no order, but drivers number their services: sort them.
  std::map<std::string, std::optional<std::string>, NaturalOrder> listed;
  while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "oa{sa{sv}}") > 0) {
    const char* path = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) <= 0) break;
    listed[path] = readClassName(message);
    if (sd_bus_message_exit_container(message) < 0) break;
  }
  for (const auto& [path, className] : listed) bus.addService(path, className);
  return 0;
}

int DriverBus::interfacesAdded(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  const char* path = nullptr;
  if (bus.isFromOwner(message) &&
      sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) > 0) {
    bus.addService(path, readClassName(message));
  }
  return 0;
}

int DriverBus::interfacesRemoved(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  const char* path = nullptr;
  if (!bus.isFromOwner(message) ||
      sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) <= 0 ||
      sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "s") <= 0) {
    return 0;
  }
  const char* interface = nullptr;
  while (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &interface) > 0) {
    if (interface == std::string_view(kServiceInterface)) bus.removeService(path);
  }
  return 0;
}

int DriverBus::messageSent(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  auto& bus = *static_cast<DriverBus*>(self);
  const char* path = sd_bus_message_get_path(message);
  const auto entry = path ? bus.services_.find(path) : bus.services_.end();
  std::uint32_t type = 0;
  const void* argument = nullptr;
  std::size_t size = 0;
  if (entry != bus.services_.end() && bus.isFromOwner(message) &&
      sd_bus_message_read(message, "u", &type) > 0 &&
      sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &argument, &size) > 0) {
    bus.registry_.sendMessage(*entry->second, type,
                              {static_cast<const std::uint8_t*>(argument), size});
  }
  return 0;
}

}  // namespace device_registry
