// SPDX-License-Identifier: MIT
// A collection that keeps its objects in the ascending order of their compare().
#pragma once

#include "foundation/lum_collection.h"

class LumSortedCollection : public LumCollection {
 public:
  // Among equal objects the new one goes before one of them. Fails for null alone, but while
  // unsorted as the collection it derives from.
  bool add(LumObject* object) override;
  // The first object that compares equal, or -1; while unsorted as the collection it derives from.
  std::int32_t findIndex(LumObject* object) override;

  // Puts the object last; the collection is unsorted from then on.
  virtual bool addUnsorted(LumObject* object);
  // Sorts what is there and keeps it sorted from then on. Equal objects may change places.
  virtual void doSort();

  // Sorts when the collection was unsorted and shall be sorted.
  void setSorted(bool sorted);
  void forceResort() { doSort(); }
  bool isSorted() const { return sorted_; }

 private:
  bool sorted_ = true;
};
