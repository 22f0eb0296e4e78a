// SPDX-License-Identifier: MIT
// A growable array of objects that holds a reference on each of them.
//
// One thread at a time. Only add() can fail. Adding takes a reference and removing drops it, so
// that an object made with new for a collection is destroyed when it leaves the last one. Objects
// that the lookups return are borrowed.
#pragma once

#include <cstdint>

#include "foundation/lum_object.h"

namespace XML {
class Node;
class Parser;
}  // namespace XML

class LumCollection : public LumObject {
 public:
  static constexpr std::int32_t kFirstCapacity = 5;
  // A full collection of more slots than this grows no more. As it grows by doubling, it has come
  // to hold 40960 objects by then.
  static constexpr std::int32_t kLargestToGrow = 32766;

  LumCollection() = default;
  ~LumCollection() override {
    if (items_ != nullptr) destroy();
  }
  LumCollection(const LumCollection&) = delete;
  LumCollection& operator=(const LumCollection&) = delete;

  virtual std::int32_t count() const { return count_; }
  // For classes that have something to reset; nothing here.
  virtual void reset();
  // Puts the object last, also when it is held already. False, and nothing changed, for null or
  // when the collection can grow no more.
  virtual bool add(LumObject* object);
  // Drops the first slot that holds this very object; does nothing when none does.
  virtual void remove(LumObject* object);
  // Drops everything; the capacity stays.
  virtual void removeAll();
  // The first object that is equal (LumObject::operator==) to this one, or -1. As objects are equal
  // unless their class says otherwise, this is often 0.
  virtual std::int32_t findIndex(LumObject* object);
  // The object at findIndex(), or null.
  virtual LumObject* find(LumObject* object);
  // Whether and where this very object is held; -1 when it is not.
  virtual bool findSame(LumObject* object);
  virtual std::int32_t findSameIndex(LumObject* object);

  // Gives the array `newCapacity` slots; kFirstCapacity more than it has when that is not larger.
  void expand(std::int32_t newCapacity);
  std::int32_t getCapacity() const { return capacity_; }
  // The object at `index`; null outside of the collection.
  LumObject* atPos(std::int32_t index) const {
    return index >= 0 && index < count_ ? items_[index] : nullptr;
  }
  // Calls onCommand(command, param) of each object.
  void forEach(int command, std::int32_t param);

 protected:
  // Makes room at `index` in an array that has a free slot, and puts the object there.
  void insert(std::int32_t index, LumObject* object);
  LumObject** items() const { return items_; }

 private:
  // The reader of documents fills the nodes it makes; nodes are emptied without recursion.
  friend class XML::Node;
  friend class XML::Parser;

  void destroy();
  // Makes kFirstCapacity slots, which somebody else keeps, the array of an empty collection.
  void lend(LumObject** slots) {
    items_ = slots;
    isLent_ = true;
  }
  // As add(), for an object that was just made.
  bool addNew(LumObject& object) {
    if (items_ == nullptr || count_ == capacity_) return LumCollection::add(&object);
    items_[count_++] = &object;
    takeFirstReference(object);
    return true;
  }
  void setCapacity(std::int32_t capacity);

  std::int32_t capacity_ = kFirstCapacity;
  std::int32_t count_ = 0;
  // Whether somebody else keeps the array's memory for as long as the collection lives.
  bool isLent_ = false;
  // Null until the first object comes.
  LumObject** items_ = nullptr;
};
