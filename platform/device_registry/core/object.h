// SPDX-License-Identifier: MIT
// Objects behind handles. Every service, iterator, notification, connection and master port is an
// object with a unique number, which is its handle.
//
// The number stays taken while the object lives, whoever keeps it alive: the client, the registry
// because the service is published, or an iterator that holds it. So two handles of one service are
// equal, and no handle in use names another object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace device_registry {

// The numbers in use. 0 is never given out. A number is reused only after all others have been
// used, so that a stale handle names nothing for as long as possible.
class Numbers {
 public:
  Numbers() = default;
  // Continues counting after `last`, with the numbers `taken` in use.
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

// The clients' references, by handle. An object without a client's reference is not found here,
// though the registry may keep it alive.
class ObjectTable {
 public:
  // Adds a reference for the client. Returns the handle.
  std::uint32_t give(std::shared_ptr<Object> object);
  // Both ignore an unknown handle.
  void retain(std::uint32_t handle);
  void release(std::uint32_t handle);

  // The object behind `handle`; null when the handle is unknown or its object is no T.
  template <typename T>
  std::shared_ptr<T> find(std::uint32_t handle) const {
    const auto entry = entries_.find(handle);
    return entry == entries_.end() ? nullptr : std::dynamic_pointer_cast<T>(entry->second.object);
  }

  // The sum of all references. For tests; no program calls this.
  std::size_t references() const;
  void clear() { entries_.clear(); }  // for tests; no program calls this

 private:
  struct Entry {
    std::shared_ptr<Object> object;
    std::size_t references = 0;
  };
  std::map<std::uint32_t, Entry> entries_;
};

}  // namespace device_registry
