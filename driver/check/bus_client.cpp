// SPDX-License-Identifier: MIT
#include "driver/check/bus_client.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "protocol/services.h"

namespace check {

namespace {

using session_bus::BusMessage;
using session_bus::BusSlot;

constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";

constexpr std::uint64_t microseconds(int milliseconds) {
  return 1000 * static_cast<std::uint64_t>(milliseconds);
}

// A call to the bus itself.
BusMessage newBusCall(sd_bus* bus, const char* method) {
  sd_bus_message* call = nullptr;
  sd_bus_message_new_method_call(bus, &call, session_bus::kBusName, session_bus::kBusPath,
                                 session_bus::kBusName, method);
  return BusMessage(call);
}

Value read(sd_bus_message* message);

Value readContainer(sd_bus_message* message, char type, const char* contents) {
  const std::string inside = contents;
  Value values = type == 'a' && inside.starts_with('{') ? Value::object() : Value::array();
  if (sd_bus_message_enter_container(message, type, contents) < 0) return nullptr;
  while (sd_bus_message_at_end(message, false) == 0) {
    if (values.is_object()) {
      const std::string entry = inside.substr(1, inside.size() - 2);
      if (sd_bus_message_enter_container(message, 'e', entry.c_str()) < 0) break;
      const Value key = read(message);
      values[key.is_string() ? key.get<std::string>() : key.dump()] = read(message);
      if (sd_bus_message_exit_container(message) < 0) break;
    } else {
      values.push_back(read(message));
      if (values.back().is_null()) break;
    }
    if (values.size() >= kElementLimit) break;
  }
  sd_bus_message_exit_container(message);
  if (type == 'v') return {{"type", inside}, {"value", values.empty() ? Value() : values[0]}};
  return values;
}

template <typename T>
Value readBasic(sd_bus_message* message, char type) {
  T value{};
  if (sd_bus_message_read_basic(message, type, &value) < 0) return nullptr;
  return value;
}

// The next value; a descriptor, which stays the message's, as its number.
Value read(sd_bus_message* message) {
  char type = 0;
  const char* contents = nullptr;
  if (sd_bus_message_peek_type(message, &type, &contents) <= 0) return nullptr;
  switch (type) {
    case 'y':
      return readBasic<std::uint8_t>(message, type);
    case 'b':
    case 'h':
      return readBasic<int>(message, type);
    case 'n':
      return readBasic<std::int16_t>(message, type);
    case 'q':
      return readBasic<std::uint16_t>(message, type);
    case 'i':
      return readBasic<std::int32_t>(message, type);
    case 'u':
      return readBasic<std::uint32_t>(message, type);
    case 'x':
      return readBasic<std::int64_t>(message, type);
    case 't':
      return readBasic<std::uint64_t>(message, type);
    case 'd':
      return readBasic<double>(message, type);
    case 's':
    case 'o':
    case 'g': {
      const char* text = nullptr;
      sd_bus_message_read_basic(message, type, &text);
      return text ? Value(text) : Value();
    }
    default:
      return readContainer(message, type, contents);
  }
}

std::vector<Value> readAll(sd_bus_message* message) {
  std::vector<Value> values;
  while (sd_bus_message_at_end(message, true) == 0) {
    values.push_back(read(message));
    if (values.back().is_null()) break;
  }
  return values;
}

}  // namespace

const Value& at(const Value& value, std::initializer_list<const char*> keys) {
  static const Value kNothing;
  const Value* found = &value;
  for (const char* key : keys) {
    if (!found->is_object() || !found->contains(key)) return kNothing;
    found = &(*found)[key];
  }
  return *found;
}

std::string textOf(const Value& value) {
  return value.is_null() ? "nothing" : value.dump(-1, ' ', true, Value::error_handler_t::replace);
}

std::unique_ptr<BusClient> BusClient::connect(std::string* problem) {
  auto client = std::make_unique<BusClient>();
  int result = session_bus::openSessionBus(kBusLimitMs, &client->bus_);
  const auto match = [&](const std::string& rule, BusSlot& slot) {
    sd_bus_slot* added = nullptr;
    if (result >= 0) {
      result = sd_bus_add_match(client->bus_.get(), &added, rule.c_str(), onSignal, client.get());
    }
    slot.reset(added);
  };
  match(std::string("type='signal',sender='") + kDriverName + "'", client->driverMatch_);
  match(session_bus::ownerChangeMatch(kDriverName), client->ownerMatch_);
  if (result >= 0) return client;
  *problem = session_bus::reasonOf(result);
  return nullptr;
}

int BusClient::onSignal(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  const auto text = [](const char* value) { return std::string(value ? value : ""); };
  auto& kept = static_cast<BusClient*>(self)->signals;
  if (kept.size() >= kSignalLimit) return 0;
  kept.push_back({text(sd_bus_message_get_path(message)), text(sd_bus_message_get_member(message)),
                  readAll(message)});
  return 0;
}

bool BusClient::findOwner() {
  const Reply reply = askBus("GetNameOwner", kDriverName);
  if (reply.succeeded && reply.values.size() == 1 && reply.values[0].is_string()) {
    owner_ = reply.values[0].get<std::string>();
  }
  return reply.succeeded;
}

bool BusClient::ownerAnswers() { return call("/", "org.freedesktop.DBus.Peer", "Ping").succeeded; }

bool BusClient::ownerIsThere() {
  const Reply reply = askBus("NameHasOwner", owner_.c_str());
  return reply.succeeded && reply.values.size() == 1 && reply.values[0] == 1;
}

BusMessage BusClient::newCall(const char* path, const char* interface, const char* method) {
  sd_bus_message* call = nullptr;
  sd_bus_message_new_method_call(bus_.get(), &call, owner_.c_str(), path, interface, method);
  return BusMessage(call);
}

Reply BusClient::send(BusMessage call, int limitMs) {
  Reply reply;
  if (!call) return reply;
  sd_bus_error error{};
  sd_bus_message* answer = nullptr;
  const int result = sd_bus_call(bus_.get(), call.get(), microseconds(limitMs), &error, &answer);
  const BusMessage owner(answer);
  if (result >= 0) {
    reply.succeeded = true;
    reply.values = readAll(answer);
  } else {
    reply.error = error.name ? error.name : std::strerror(-result);
  }
  sd_bus_error_free(&error);
  return reply;
}

Reply BusClient::call(const char* path, const char* interface, const char* method) {
  return send(newCall(path, interface, method));
}

Value BusClient::registryProperties(const char* path) {
  BusMessage message = newCall(path, kPropertiesInterface, "Get");
  if (message) sd_bus_message_append(message.get(), "ss", kServiceInterface, kRegistryProperties);
  const Reply reply = send(std::move(message));
  return reply.values.empty() ? Value() : reply.values[0];
}

Reply BusClient::askBus(const char* method, const char* name) {
  BusMessage message = newBusCall(bus_.get(), method);
  if (message && name) sd_bus_message_append(message.get(), "s", name);
  return send(std::move(message));
}

Reply BusClient::startDriver() {
  BusMessage message = newBusCall(bus_.get(), "StartServiceByName");
  if (message) sd_bus_message_append(message.get(), "su", kDriverName, 0u);
  return send(std::move(message), kStartLimitMs);
}

FileDescriptor BusClient::open(const char* path, std::uint32_t type, std::string* problem) {
  const BusMessage message = newCall(path, kServiceInterface, kOpenMethod);
  if (!message) return {};
  sd_bus_message_append(message.get(), "u", type);
  sd_bus_error error{};
  sd_bus_message* answer = nullptr;
  int descriptor = -1;
  int result = sd_bus_call(bus_.get(), message.get(), microseconds(kBusLimitMs), &error, &answer);
  const BusMessage owner(answer);
  if (result >= 0) result = sd_bus_message_read(answer, "h", &descriptor);
  if (result < 0) *problem = error.name ? error.name : std::strerror(-result);
  sd_bus_error_free(&error);
  return FileDescriptor(result < 0 ? -1 : ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
}

void BusClient::settle() {
  ownerAnswers();
  // Those that came before the answer are queued. A driver may send more without end.
  std::uint64_t queued = 0;
  if (sd_bus_get_n_queued_read(bus_.get(), &queued) < 0) return;
  for (; queued > 0 && sd_bus_process(bus_.get(), nullptr) > 0; --queued) {
  }
}

bool BusClient::waitFor(const std::function<bool()>& done, int limitMs) {
  const session_bus::Deadline deadline(limitMs);
  while (!done() && !deadline.hasPassed()) {
    const int result = sd_bus_process(bus_.get(), nullptr);
    if (result < 0) break;
    const session_bus::Deadline next(std::min(kAskAgainMs, deadline.milliseconds()));
    if (result == 0) session_bus::waitForBuses(std::array{bus_.get()}, next);
  }
  return done();
}

}  // namespace check
