// SPDX-License-Identifier: MIT
// The objects behind the handles. Each service, iterator, notification, driver connection and
// master port is an object with its own number, which is its handle.
//
// The number is in use as long as the object lives, whether a client, the registry or an iterator
// keeps it alive. So all handles of one service are equal, and no other object gets its number
// meanwhile. Thread: that of the registry's operations.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace device_registry {

// The numbers in use. 0 is never taken. Numbers are taken in ascending order and wrap around, so
// that a stale handle names no object for as long as possible.
class Numbers {
 public:
  Numbers() = default;
  // Continues after `last`, with the numbers `taken` in use.
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

// The references that the clients hold, by handle. An object without such a reference is not in the
// table, though the registry may keep it alive.
class ObjectTable {
 public:
  // Adds a reference for the client and returns the handle.
  std::uint32_t give(std::shared_ptr<Object> object);
  // Both do nothing for a handle that is not in the table.
  void retain(std::uint32_t handle);
  void release(std::uint32_t handle);

  // The object of `handle`; null when it is not in the table or not a T.
  template <typename T>
  std::shared_ptr<T> find(std::uint32_t handle) const {
    const auto entry = entries_.find(handle);
    return entry == entries_.end() ? nullptr : std::dynamic_pointer_cast<T>(entry->second.object);
  }

  // The number of references to all objects.
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
