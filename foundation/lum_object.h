// SPDX-License-Identifier: MIT
// The root of everything that is kept in a collection or by reference count.
//
// The count starts at 0: an object that is never counted (on the stack, a member) is never deleted
// by it. An object made with new belongs to whoever holds its first reference; the release that
// brings the count from 1 to 0 destroys it. Only the count may be used by several threads at once.
#pragma once

#include <atomic>
#include <cstdint>

class LumObject {
 public:
  LumObject() = default;
  // A copy is a new object: nobody refers to it yet, and those who refer to this one still do.
  LumObject(const LumObject&) {}
  LumObject& operator=(const LumObject&) { return *this; }

  // Order: exactly -1, 0 or 1 as this object stands before, beside or after `other`. Here 0.
  virtual std::int32_t compare(const LumObject& other) const;
  // What LumCollection::forEach calls; the meaning of both is the caller's. Here: `param`.
  virtual std::int32_t onCommand(std::int32_t command, std::int32_t param);
  virtual ~LumObject() = default;
  // True for every object here: a class whose objects differ overrides it.
  virtual bool isEqual(const LumObject& other) const;

  bool operator==(const LumObject& other) const { return isEqual(other); }

  void incReferences() { references_.fetch_add(1, std::memory_order_relaxed); }
  // Destroys the object when this was its last reference. From 0 the count goes to -1 and nothing
  // is destroyed.
  void decReferences();
  std::int32_t getReferences() const { return references_.load(std::memory_order_relaxed); }

 protected:
  // The first reference to an object that no other thread knows yet; cheaper than incReferences().
  static void takeFirstReference(LumObject& object) {
    object.references_.store(1, std::memory_order_relaxed);
  }

 private:
  std::atomic<std::int32_t> references_ = 0;
};
