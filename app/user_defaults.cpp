// SPDX-License-Identifier: MIT
#include "app/user_defaults.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

std::int32_t clampedInt(double number) {
  if (!(number == number)) return 0;
  return static_cast<std::int32_t>(std::clamp<double>(number, INT32_MIN, INT32_MAX));
}

}  // namespace

NSUserDefaults NSUserDefaults::standardUserDefaults() {
  return NSUserDefaults(CFBundleGetIdentifier());
}

std::optional<CFValue> NSUserDefaults::objectForKey(std::string_view key) const {
  if (applicationId_.empty()) return std::nullopt;
  return CFPreferencesCopyAppValue(key, applicationId_);
}

void NSUserDefaults::setObject(CFValue value, std::string_view key) {
  if (!applicationId_.empty()) CFPreferencesSetAppValue(key, std::move(value), applicationId_);
}

bool NSUserDefaults::synchronize() {
  return !applicationId_.empty() && CFPreferencesAppSynchronize(applicationId_);
}

std::int32_t intValue(const std::optional<CFValue>& value) {
  if (!value) return 0;
  if (const auto* number = value->as<std::int64_t>()) return static_cast<std::int32_t>(*number);
  if (const auto* number = value->as<double>()) return clampedInt(*number);
  if (const auto* flag = value->as<bool>()) return *flag ? 1 : 0;
  if (const auto* text = value->as<std::string>()) {
    return static_cast<std::int32_t>(
        std::clamp<long long>(std::strtoll(text->c_str(), nullptr, 10), INT32_MIN, INT32_MAX));
  }
  return 0;
}
