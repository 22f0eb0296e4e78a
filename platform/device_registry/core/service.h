// SPDX-License-Identifier: MIT
// Interfaces of published services and of connections to their drivers, implemented by the back
// ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "platform/device_registry/core/object.h"
#include "platform/device_registry/device_registry.h"

namespace device_registry {

// An open connection to a driver. The destructor closes it.
class Connection : public Object {
 public:
  using Object::Object;

  // As IOConnectMethodStructureIStructureO. Not called once the service has terminated.
  virtual IOReturn call(std::uint32_t selector, std::span<const std::uint8_t> input,
                        std::span<std::uint8_t> output, std::size_t* outputSize) = 0;
};

class Service : public Object {
 public:
  // An empty class name matches no dictionary.
  Service(std::shared_ptr<Numbers> numbers, std::string className)
      : Object(std::move(numbers)), className_(std::move(className)) {}

  const std::string& className() const { return className_; }

  // True from publication to termination. readProperties() and open() are only called then.
  bool isPresent() const { return present_; }
  void setPresent(bool present) { present_ = present; }

  // The turn of the run loop (Registry::turn) in which a client took the service from an iterator;
  // nothing before that. Only then is a client told of its termination.
  std::optional<std::uint64_t> handedOutTurn() const { return handedOutTurn_; }
  void handOut(std::uint64_t turn) {
    if (!handedOutTurn_) handedOutTurn_ = turn;
  }

  // Failure leaves `properties` untouched.
  virtual IOReturn readProperties(CFDictionary* properties) = 0;
  // Success stores a connection, failure leaves `connection` untouched.
  virtual IOReturn open(std::uint32_t type, std::shared_ptr<Connection>* connection) = 0;

 private:
  std::string className_;
  bool present_ = false;
  std::optional<std::uint64_t> handedOutTurn_;
};

}  // namespace device_registry
