// SPDX-License-Identifier: MIT
#include "foundation/character_class.h"

namespace {

// Stores the result and returns true when a text is null.
bool comparesNull(const char* a, const char* b, std::int32_t& result) {
  if (a != nullptr && b != nullptr) return false;
  result = a == b ? 0 : a == nullptr ? 1 : -1;
  return true;
}

std::int32_t signOfDifference(char a, char b) {
  return static_cast<signed char>(cfToLower(b)) > static_cast<signed char>(cfToLower(a)) ? 1 : -1;
}

}  // namespace

std::int32_t cfStrnicmp(const char* a, const char* b, std::int32_t n) {
  std::int32_t result = 0;
  if (comparesNull(a, b, result)) return result;
  for (; n > 0; --n, ++a, ++b) {
    if (cfToLower(*a) != cfToLower(*b)) return signOfDifference(*a, *b);
    if (*a == '\0') break;
  }
  return 0;
}

std::int32_t cfStricmp(const char* a, const char* b) {
  std::int32_t result = 0;
  if (comparesNull(a, b, result)) return result;
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    if (cfToLower(*a) != cfToLower(*b)) return signOfDifference(*a, *b);
  }
  if (*a == *b) return 0;
  return *a == '\0' ? -1 : 1;
}
