// SPDX-License-Identifier: MIT
// The root class of objects that are kept in a collection or by reference count.
//
// The count starts at 0. An object that is never counted (on the stack, a member) is never deleted
// by the count. An object made with new belongs to the holder of its first reference; the release
// that takes the count from 1 to 0 destroys it. Only the count is thread-safe.
#pragma once

#include <atomic>
#include <cstdint>

class LumObject {
 public:
  LumObject() = default;
  // Copying and assigning leave the counts alone: a copy starts at 0. No program calls these.
  LumObject(const LumObject&) {}
  LumObject& operator=(const LumObject&) { return *this; }

  // Order: exactly -1, 0 or 1 for this object before, equal to or after `other`. Here 0.
  virtual std::int32_t compare(const LumObject& other) const;  // no program calls this
  // Called by LumCollection::forEach with the caller's arguments. Returns `param` here. No program
  // calls this.
  virtual std::int32_t onCommand(std::int32_t command, std::int32_t param);
  virtual ~LumObject() = default;
  // Returns true here, for every argument; a class whose objects differ overrides it.
  virtual bool isEqual(const LumObject& other) const;  // no program calls this

  // No program calls this.
  bool operator==(const LumObject& other) const { return isEqual(other); }

  void incReferences() { references_.fetch_add(1, std::memory_order_relaxed); }
  // Destroys the object when the count was 1. A count of 0 becomes -1 and nothing is destroyed.
  void decReferences();
  std::int32_t getReferences() const { return references_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::int32_t> references_ = 0;
};
