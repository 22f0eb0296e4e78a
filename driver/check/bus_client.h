// SPDX-License-Identifier: MIT
// A client of the driver on the session bus, with the signals that it receives.
#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "driver/check/limits.h"
#include "platform/posix/posix.h"
#include "platform/session_bus/session_bus.h"

namespace check {

// A value of the bus: dictionaries are objects, a variant is an object with the members "type", its
// signature, and "value".
using Value = nlohmann::ordered_json;

// The value inside of `value` at these keys; null when there is none.
const Value& at(const Value& value, std::initializer_list<const char*> keys);

// Whether it is an array of so many values; a dictionary is none.
inline bool isArrayOf(std::size_t size, const Value& value) {
  return value.is_array() && value.size() == size;
}

// For people.
std::string textOf(const Value& value);

struct Signal {
  std::string path;
  std::string member;
  std::vector<Value> arguments;
};

struct Reply {
  bool succeeded = false;
  std::vector<Value> values;
  std::string error;  // the error's name
};

class BusClient {
 public:
  // Null when the bus cannot be reached, with the reason.
  static std::unique_ptr<BusClient> connect(std::string* problem);

  // Calls are sent to the connection that owns the name when this is called; the bus starts no
  // driver for them.
  bool findOwner();
  // Whether that connection still answers.
  bool ownerAnswers();
  bool ownerIsThere();
  bool isConnected() const { return sd_bus_is_open(bus_.get()) > 0; }

  // Makes the bus start the driver service if it is installed and does not run.
  Reply startDriver();

  Reply call(const char* path, const char* interface, const char* method);
  // The variant with the registry properties; null when the driver refuses.
  Value registryProperties(const char* path);
  // Empty when the driver refuses, with the error's name.
  FileDescriptor open(const char* path, std::uint32_t type, std::string* error);
  // Calls a method of the bus itself that takes nothing or one name.
  Reply askBus(const char* method, const char* name = nullptr);

  // Receives all signals that the driver sent before now.
  void settle();
  // Receives signals until `done`, for at most `limitMs`. Returns what `done` says at the end; it
  // is asked after each signal, and at least every kAskAgainMs for what is not on the bus.
  bool waitFor(const std::function<bool()>& done, int limitMs);

  // In the order of arrival, from the driver and the changes of the name's owner.
  std::vector<Signal> signals;

 private:
  Reply send(session_bus::BusMessage call, int limitMs = kBusLimitMs);
  session_bus::BusMessage newCall(const char* path, const char* interface, const char* method);
  static int onSignal(sd_bus_message* message, void* self, sd_bus_error* error) noexcept;

  session_bus::Bus bus_;
  session_bus::BusSlot driverMatch_;
  session_bus::BusSlot ownerMatch_;
  std::string owner_;
};

}  // namespace check
