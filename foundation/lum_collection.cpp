// SPDX-License-Identifier: MIT
#include "foundation/lum_collection.h"

#include <algorithm>
#include <utility>

void LumCollection::reset() {}

void LumCollection::expand(std::int32_t newCapacity) {
  capacity_ = newCapacity > capacity_ ? newCapacity : capacity_ + kFirstCapacity;
}

bool LumCollection::add(LumObject* object) {
  if (object == nullptr) return false;
  if (LumCollection::count() == capacity_) {
    if (capacity_ > kLargestToGrow) return false;
    expand(2 * capacity_);
  }
  items_.reserve(static_cast<std::size_t>(capacity_));
  items_.push_back(object);
  object->incReferences();
  return true;
}

void LumCollection::insert(std::int32_t index, LumObject* object) {
  items_.insert(items_.begin() + index, object);
  object->incReferences();
}

void LumCollection::remove(LumObject* object) {
  const std::int32_t index = findSameIndex(object);
  if (index < 0) return;
  object->decReferences();
  // The object's destructor may have emptied the collection.
  if (index < LumCollection::count()) items_.erase(items_.begin() + index);
}

void LumCollection::removeAll() {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    LumObject* object = std::exchange(items_[i], nullptr);
    if (object != nullptr) object->decReferences();
  }
  items_.clear();
}

std::vector<LumObject*> LumCollection::takeAll() { return std::exchange(items_, {}); }

std::int32_t LumCollection::findIndex(LumObject* object) {
  if (object == nullptr) return -1;
  const auto found = std::find_if(items_.begin(), items_.end(),
                                  [object](const LumObject* each) { return *each == *object; });
  return found == items_.end() ? -1 : static_cast<std::int32_t>(found - items_.begin());
}

LumObject* LumCollection::find(LumObject* object) {
  const std::int32_t index = findIndex(object);
  return index < 0 ? nullptr : atPos(index);
}

bool LumCollection::findSame(LumObject* object) { return findSameIndex(object) >= 0; }

std::int32_t LumCollection::findSameIndex(LumObject* object) {
  if (object == nullptr) return -1;
  const auto found = std::find(items_.begin(), items_.end(), object);
  return found == items_.end() ? -1 : static_cast<std::int32_t>(found - items_.begin());
}

void LumCollection::forEach(int command, std::int32_t param) {
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (items_[i] != nullptr) items_[i]->onCommand(command, param);
  }
}
