// SPDX-License-Identifier: MIT
#include "foundation/lum_collection.h"

#include <algorithm>
#include <utility>

void LumCollection::destroy() {
  LumCollection::removeAll();
  if (!isLent_) delete[] items_;
}

void LumCollection::reset() {}

void LumCollection::setCapacity(std::int32_t capacity) {
  auto** items = new LumObject*[static_cast<std::size_t>(capacity)]();
  std::copy(items_, items_ + count_, items);
  if (!isLent_) delete[] items_;
  isLent_ = false;
  items_ = items;
  capacity_ = capacity;
}

void LumCollection::expand(std::int32_t newCapacity) {
  setCapacity(newCapacity > capacity_ ? newCapacity : capacity_ + kFirstCapacity);
}

bool LumCollection::add(LumObject* object) {
  if (object == nullptr) return false;
  if (count_ == capacity_) {
    if (capacity_ > kLargestToGrow) return false;
    expand(2 * capacity_);
  } else if (items_ == nullptr) {
    setCapacity(capacity_);
  }
  items_[count_++] = object;
  object->incReferences();
  return true;
}

void LumCollection::insert(std::int32_t index, LumObject* object) {
  if (items_ == nullptr) setCapacity(capacity_);
  std::copy_backward(items_ + index, items_ + count_, items_ + count_ + 1);
  items_[index] = object;
  ++count_;
  object->incReferences();
}

void LumCollection::remove(LumObject* object) {
  const std::int32_t index = findSameIndex(object);
  if (index < 0) return;
  std::copy(items_ + index + 1, items_ + count_, items_ + index);
  items_[--count_] = nullptr;
  // Last, as the object's destructor may come back here.
  object->decReferences();
}

void LumCollection::removeAll() {
  for (std::int32_t i = 0; i < count_; ++i) {
    LumObject* object = std::exchange(items_[i], nullptr);
    if (object != nullptr) object->decReferences();
  }
  count_ = 0;
}

std::int32_t LumCollection::findIndex(LumObject* object) {
  if (object == nullptr) return -1;
  for (std::int32_t i = 0; i < count_; ++i) {
    if (*items_[i] == *object) return i;
  }
  return -1;
}

LumObject* LumCollection::find(LumObject* object) {
  const std::int32_t index = findIndex(object);
  return index < 0 ? nullptr : atPos(index);
}

bool LumCollection::findSame(LumObject* object) { return findSameIndex(object) >= 0; }

std::int32_t LumCollection::findSameIndex(LumObject* object) {
  if (object == nullptr) return -1;
  LumObject** end = items_ + count_;
  LumObject** found = std::find(items_, end, object);
  return found == end ? -1 : static_cast<std::int32_t>(found - items_);
}

void LumCollection::forEach(int command, std::int32_t param) {
  for (std::int32_t i = 0; i < count_; ++i) {
    if (items_[i] != nullptr) items_[i]->onCommand(command, param);
  }
}
