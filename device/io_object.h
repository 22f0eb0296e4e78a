// SPDX-License-Identifier: MIT
// Owns one reference to an object of the device registry and releases it. Move-only. Thread: that
// of the registry's operations.
#pragma once

#include <utility>

#include "platform/device_registry/device_registry.h"

class IoObject {
 public:
  IoObject() = default;
  // Takes over the caller's reference.
  explicit IoObject(io_object_t object) : object_(object) {}
  IoObject(IoObject&& other) noexcept : object_(std::exchange(other.object_, 0)) {}
  IoObject& operator=(IoObject&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~IoObject() {
    if (object_ != 0) IOObjectRelease(object_);
  }

  io_object_t get() const { return object_; }
  explicit operator bool() const { return object_ != 0; }

 private:
  io_object_t object_ = 0;
};
