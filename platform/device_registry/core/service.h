// SPDX-License-Identifier: MIT
// Published services and the connections to their drivers, as the back ends supply them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "platform/device_registry/core/object.h"
#include "platform/device_registry/device_registry.h"

namespace device_registry {

// An open connection to a driver. It goes with the last pointer to it.
class Connection : public Object {
 public:
  using Object::Object;

  // As IOConnectMethodStructureIStructureO. Not called once the service has terminated.
  virtual IOReturn call(std::uint32_t selector, std::span<const std::uint8_t> input,
                        std::span<std::uint8_t> output, std::size_t* outputSize) = 0;
};

class Service : public Object {
 public:
  // A service with an empty class name is matched by nothing.
  Service(std::shared_ptr<Numbers> numbers, std::string className)
      : Object(std::move(numbers)), className_(std::move(className)) {}

  const std::string& className() const { return className_; }

  // False before it was published and from its termination on. Only a present service is asked for
  // properties or connections.
  bool isPresent() const { return present_; }
  void setPresent(bool present) { present_ = present; }

  // Failure leaves `properties` untouched.
  virtual IOReturn readProperties(CFDictionary* properties) = 0;
  // Success stores a connection, failure leaves `connection` untouched.
  virtual IOReturn open(std::uint32_t type, std::shared_ptr<Connection>* connection) = 0;

 private:
  std::string className_;
  bool present_ = false;
};

}  // namespace device_registry
