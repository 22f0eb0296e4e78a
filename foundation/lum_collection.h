// SPDX-License-Identifier: MIT
// A growable array of objects that holds a reference on each of them.
//
// One thread at a time. Only add() can fail. Adding takes a reference and removing drops it, so an
// object made with new for a collection is destroyed when it leaves the last one. Objects that the
// lookups return are borrowed.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/lum_object.h"

class LumCollection : public LumObject {
 public:
  static constexpr std::int32_t kFirstCapacity = 5;
  // A full collection with a larger capacity refuses to grow. As capacities double from 5, this
  // happens at 40960 objects.
  static constexpr std::int32_t kLargestToGrow = 32766;

  LumCollection() = default;
  ~LumCollection() override { LumCollection::removeAll(); }
  LumCollection(const LumCollection&) = delete;
  LumCollection& operator=(const LumCollection&) = delete;

  virtual std::int32_t count() const { return static_cast<std::int32_t>(items_.size()); }
  // Does nothing; a hook for derived classes.
  virtual void reset();  // no program calls this
  // Appends the object, also when it is already held. False, and no change, for null or when the
  // collection is full and refuses to grow.
  virtual bool add(LumObject* object);
  // Releases the object in the first slot that holds exactly this pointer, and only then moves the
  // following ones down; does nothing when no slot holds it.
  virtual void remove(LumObject* object);  // no program calls this
  // Releases every object; the capacity stays.
  virtual void removeAll();
  // Index of the first object that is equal (LumObject::operator==) to this one, or -1. Objects are
  // equal unless their class says otherwise, so this is often 0.
  virtual std::int32_t findIndex(LumObject* object);  // no program calls this
  // The object at findIndex(), or null.
  virtual LumObject* find(LumObject* object);  // no program calls this
  // Search for exactly this pointer; false and -1 when it is not held.
  virtual bool findSame(LumObject* object);
  virtual std::int32_t findSameIndex(LumObject* object);

  // Sets the capacity to `newCapacity`, or raises it by kFirstCapacity if that is not larger.
  void expand(std::int32_t newCapacity);
  std::int32_t getCapacity() const { return capacity_; }  // no program calls this
  // Null when `index` is out of range.
  LumObject* atPos(std::int32_t index) const {
    return index >= 0 && index < LumCollection::count() ? items_[static_cast<std::size_t>(index)]
                                                        : nullptr;
  }
  // Calls onCommand(command, param) of each object.
  void forEach(int command, std::int32_t param);  // no program calls this
  // Empties the collection without releasing the objects: the references are the caller's now.
  // XML::Node's destructor releases its descendants in a loop with it.
  std::vector<LumObject*> takeAll();

 protected:
  // For LumSortedCollection. insert() takes a reference; the capacity must have been raised. No
  // program calls these.
  void insert(std::int32_t index, LumObject* object);
  LumObject** items() { return items_.data(); }

 private:
  std::int32_t capacity_ = kFirstCapacity;
  std::vector<LumObject*> items_;
};
