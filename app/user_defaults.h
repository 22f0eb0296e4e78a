// SPDX-License-Identifier: MIT
// The application's user defaults, over the preferences seam. Main thread only.
//
// Copies share one store. A default-constructed object has no store: it reads no values and drops
// those it is given.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/preferences/preferences.h"

class NSUserDefaults {
 public:
  NSUserDefaults() = default;
  // The preferences under CFBundleGetIdentifier().
  static NSUserDefaults standardUserDefaults();

  // nullopt when `key` has no value.
  std::optional<CFValue> objectForKey(std::string_view key) const;
  // Visible at once in this process, durable after synchronize().
  void setObject(CFValue value, std::string_view key);
  // Writes this process's changes to disk and reads those of other processes; false on failure. See
  // CFPreferencesAppSynchronize.
  bool synchronize();

 private:
  explicit NSUserDefaults(std::string applicationId) : applicationId_(std::move(applicationId)) {}
  std::string applicationId_;  // empty without a store
};

// Converts `value` to 32 bits: an integer is truncated, a real number loses its fraction and is
// clamped, a text is parsed as the decimal number at its start and clamped. 0 for nullopt and for
// every other type.
std::int32_t intValue(const std::optional<CFValue>& value);
