// SPDX-License-Identifier: MIT
#include "platform/device_registry/core/object.h"

#include <utility>

namespace device_registry {

std::uint32_t Numbers::take() {
  do {
    ++last_;
  } while (last_ == 0 || taken_.contains(last_));
  taken_.insert(last_);
  return last_;
}

std::uint32_t ObjectTable::give(std::shared_ptr<Object> object) {
  const std::uint32_t handle = object->number();
  Entry& entry = entries_[handle];
  entry.object = std::move(object);
  ++entry.references;
  return handle;
}

void ObjectTable::retain(std::uint32_t handle) {
  if (const auto entry = entries_.find(handle); entry != entries_.end()) ++entry->second.references;
}

void ObjectTable::release(std::uint32_t handle) {
  const auto entry = entries_.find(handle);
  if (entry == entries_.end() || --entry->second.references > 0) return;
  // Destroy the object after its entry: its destructor may release other handles, and so call this
  // function again.
  const std::shared_ptr<Object> last = std::move(entry->second.object);
  entries_.erase(entry);
}

std::size_t ObjectTable::references() const {
  std::size_t sum = 0;
  for (const auto& [handle, entry] : entries_) sum += entry.references;
  return sum;
}

}  // namespace device_registry
