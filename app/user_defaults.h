// SPDX-License-Identifier: MIT
// The running application's own preferences, as the toolkit hands them out.
//
// A small value over the preferences seam; copies name the same store. One made by default names
// nothing: it holds no value and drops what it is told. Main thread only.
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

  // The value under `key`; nothing when there is none.
  std::optional<CFValue> objectForKey(std::string_view key) const;
  // Visible at once in this process, durable after synchronize().
  void setObject(CFValue value, std::string_view key);
  // Makes what was set durable and takes in what others stored; see CFPreferencesAppSynchronize.
  bool synchronize();

 private:
  explicit NSUserDefaults(std::string applicationId) : applicationId_(std::move(applicationId)) {}
  std::string applicationId_;  // empty for none
};

// The value as a 32-bit integer: an integer is cut to 32 bits, a fraction is dropped, a text gives
// the decimal number that it begins with, and what is too large gives the nearest that fits. 0 for
// no value and for every other type.
std::int32_t intValue(const std::optional<CFValue>& value);
