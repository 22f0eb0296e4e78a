// SPDX-License-Identifier: MIT
// Published services and driver connections; the back ends implement them.
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

// An open connection to a driver; the destructor closes it.
class Connection : public Object {
 public:
  using Object::Object;

  // As IOConnectMethodStructureIStructureO. Not called after the service has terminated.
  virtual IOReturn call(std::uint32_t selector, std::span<const std::uint8_t> input,
                        std::span<std::uint8_t> output, std::size_t* outputSize) = 0;
};

class Service : public Object {
 public:
  // No matching dictionary matches a service with an empty class name.
  Service(std::shared_ptr<Numbers> numbers, std::string className)
      : Object(std::move(numbers)), className_(std::move(className)) {}

  const std::string& className() const { return className_; }

  // True from publication to termination. The functions below are called only while it is true.
  bool isPresent() const { return present_; }
  void setPresent(bool present) { present_ = present; }

  // On failure `properties` is unchanged.
  virtual IOReturn readProperties(CFDictionary* properties) = 0;
  // Stores a connection; on failure `connection` is unchanged.
  virtual IOReturn open(std::uint32_t type, std::shared_ptr<Connection>* connection) = 0;

 private:
  std::string className_;
  bool present_ = false;
};

}  // namespace device_registry
