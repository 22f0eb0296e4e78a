// SPDX-License-Identifier: MIT
#include "foundation/character_class.h"

#include <optional>

namespace {

// The result when a text is null.
std::optional<std::int32_t> compareNull(const char* a, const char* b) {
  if (a != nullptr && b != nullptr) return std::nullopt;
  return a == b ? 0 : a == nullptr ? 1 : -1;
}

std::int32_t signOfDifference(char a, char b) {
  return static_cast<signed char>(cfToLower(b)) > static_cast<signed char>(cfToLower(a)) ? 1 : -1;
}

}  // namespace

std::int32_t cfStrnicmp(const char* a, const char* b, std::int32_t n) {
  if (const auto result = compareNull(a, b)) return *result;
  for (; n > 0; --n, ++a, ++b) {
    if (cfToLower(*a) != cfToLower(*b)) return signOfDifference(*a, *b);
    if (*a == '\0') break;
  }
  return 0;
}

std::int32_t cfStricmp(const char* a, const char* b) {
  if (const auto result = compareNull(a, b)) return *result;
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    if (cfToLower(*a) != cfToLower(*b)) return signOfDifference(*a, *b);
  }
  if (*a == *b) return 0;
  return *a == '\0' ? -1 : 1;
}
