// SPDX-License-Identifier: MIT
#include "foundation/lum_object.h"

std::int32_t LumObject::compare(const LumObject&) const { return 0; }

std::int32_t LumObject::onCommand(std::int32_t, std::int32_t param) { return param; }

bool LumObject::isEqual(const LumObject&) const { return true; }

void LumObject::decReferences() {
  // No other thread can use an object whose only reference is this one; a plain store is cheaper.
  if (references_.load(std::memory_order_acquire) == 1) {
    references_.store(0, std::memory_order_relaxed);
    delete this;
  } else if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete this;
  }
}
