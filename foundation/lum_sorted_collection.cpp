// SPDX-License-Identifier: MIT
#include "foundation/lum_sorted_collection.h"

#include <algorithm>

bool LumSortedCollection::add(LumObject* object) {
  if (!sorted_) return LumCollection::add(object);
  if (object == nullptr) return false;
  if (count() == getCapacity()) expand(2 * getCapacity());
  std::int32_t low = 0;
  for (std::int32_t high = count() - 1; low <= high;) {
    const std::int32_t middle = low + (high - low) / 2;
    const std::int32_t order = items()[middle]->compare(*object);
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle - 1;
      if (order == 0) {
        low = middle;
        break;
      }
    }
  }
  insert(low, object);
  return true;
}

std::int32_t LumSortedCollection::findIndex(LumObject* object) {
  if (!sorted_) return LumCollection::findIndex(object);
  if (object == nullptr) return -1;
  // Finds the first of a run of equal objects without stepping through the run.
  std::int32_t low = 0;
  std::int32_t found = -1;
  for (std::int32_t high = count() - 1; low <= high;) {
    const std::int32_t middle = low + (high - low) / 2;
    // removeAll() leaves null slots while it runs.
    if (items()[middle] == nullptr) return -1;
    const std::int32_t order = items()[middle]->compare(*object);
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle - 1;
      if (order == 0) found = middle;
    }
  }
  return found;
}

bool LumSortedCollection::addUnsorted(LumObject* object) {
  if (object == nullptr) return false;
  sorted_ = false;
  return LumCollection::add(object);
}

void LumSortedCollection::doSort() {
  std::stable_sort(items(), items() + count(), [](const LumObject* left, const LumObject* right) {
    return left->compare(*right) == -1;
  });
  sorted_ = true;
}

void LumSortedCollection::setSorted(bool sorted) {
  if (sorted == sorted_) return;
  sorted_ = sorted;
  if (sorted_) doSort();
}
