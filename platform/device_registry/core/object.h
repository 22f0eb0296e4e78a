// SPDX-License-Identifier: MIT
// What a handle names. Every service, iterator, notification, connection and master port is an
// object with a number of its own, and a client names it by that number.
//
// The number stays taken for as long as the object lives, whoever keeps it alive: the client, the
// registry because the service is published, or an iterator in which it waits. That is what makes
// two handles of one service equal and keeps a number from naming something else meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace device_registry {

// The numbers in use. 0 is never given out; numbers come back into use only after all others have
// had their turn, so that a handle kept too long names nothing for as long as possible.
class Numbers {
 public:
  Numbers() = default;
  // Goes on counting after `last` with the numbers `taken` in use.
  Numbers(std::uint32_t last, std::set<std::uint32_t> taken)
      : taken_(std::move(taken)), last_(last) {}

  std::uint32_t take();
  void giveBack(std::uint32_t number) { taken_.erase(number); }

 private:
  std::set<std::uint32_t> taken_;
  std::uint32_t last_ = 0;
};

class Object {
 public:
  explicit Object(std::shared_ptr<Numbers> numbers)
      : numbers_(std::move(numbers)), number_(numbers_->take()) {}
  virtual ~Object() { numbers_->giveBack(number_); }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  std::uint32_t number() const { return number_; }

 private:
  std::shared_ptr<Numbers> numbers_;
  std::uint32_t number_;
};

// The references that a client holds, by handle. An object that no client refers to is not found
// here, though it may live on inside the registry.
class ObjectTable {
 public:
  // Adds a reference for the client and returns the handle.
  std::uint32_t give(std::shared_ptr<Object> object);
  // Both do nothing for a handle that names nothing.
  void retain(std::uint32_t handle);
  void release(std::uint32_t handle);

  // The object that `handle` names; null when it names nothing or no T.
  template <typename T>
  std::shared_ptr<T> find(std::uint32_t handle) const {
    const auto entry = entries_.find(handle);
    return entry == entries_.end() ? nullptr : std::dynamic_pointer_cast<T>(entry->second.object);
  }

  // How many references clients hold, all objects together.
  std::size_t references() const;
  void clear() { entries_.clear(); }

 private:
  struct Entry {
    std::shared_ptr<Object> object;
    std::size_t references = 0;
  };
  std::map<std::uint32_t, Entry> entries_;
};

}  // namespace device_registry
