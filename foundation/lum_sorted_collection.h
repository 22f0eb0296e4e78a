// SPDX-License-Identifier: MIT
// A collection that keeps its objects in ascending order of their compare(). No program calls this.
#pragma once

#include "foundation/lum_collection.h"

class LumSortedCollection : public LumCollection {
 public:
  // Inserts before the equal object that the search meets, if any, and refuses only null. While
  // unsorted it appends as LumCollection does.
  bool add(LumObject* object) override;
  // Index of the first object that compares equal, or -1. While unsorted it searches as
  // LumCollection does.
  std::int32_t findIndex(LumObject* object) override;

  // Appends the object; the collection is unsorted from then on.
  virtual bool addUnsorted(LumObject* object);
  // Sorts the objects and keeps them sorted from then on. Equal objects may change places.
  virtual void doSort();

  // Sorts when an unsorted collection becomes sorted.
  void setSorted(bool sorted);
  void forceResort() { doSort(); }
  bool isSorted() const { return sorted_; }

 private:
  bool sorted_ = true;
};
