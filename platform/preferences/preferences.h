// SPDX-License-Identifier: MIT
// Preferences seam: values under a key of an application identifier, shared between processes.
//
// Set values are visible to this process at once and to other processes after a synchronise. Main
// thread only. Texts and keys are UTF-8; bytes that are no UTF-8, and control characters other than
// tab, line feed and carriage return, may be read back as U+FFFD.
//
// Back ends: plist/ (a property-list file per identifier), memory/ (for tests).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/values/values.h"

// All values of an identifier in a file, in bytes: larger files are kept aside as damaged ones are,
// and never written. A file this large takes half a second to parse; what the programs store is a
// thousandth of it.
inline constexpr std::size_t kLargestPreferences = std::size_t{1} << 20;

// The wait for another process that is storing. A writer holds the lock for two fsyncs, which take
// far less than this even on a slow disk.
inline constexpr int kPreferencesLockLimitMs = 500;

// A copy of the value under `key`; nullopt when the key is missing.
std::optional<CFValue> CFPreferencesCopyAppValue(std::string_view key,
                                                 std::string_view applicationId);

// Sets the value under `key`; nullopt removes the key. Cannot fail; the next synchronise returns
// whether the value was stored.
void CFPreferencesSetAppValue(std::string_view key, std::optional<CFValue> value,
                              std::string_view applicationId);

// Stores all values set so far durably, and reads the values that other processes stored; only keys
// set here are overwritten. False when either failed; the set values stay visible here, and the
// next call tries again, at the latest the end of the program. Waits for a process that is storing,
// kPreferencesLockLimitMs at most, and not again for 5 s after one that took longer.
bool CFPreferencesAppSynchronize(std::string_view applicationId);

// Combines the synchronises of one identifier: while an update exists they do nothing and return
// true; the destructor of the last update synchronises once. All values set meanwhile are stored,
// or none. For an import, whose many synchronises would each rewrite all values.
class PreferencesUpdate {
 public:
  explicit PreferencesUpdate(std::string_view applicationId);
  ~PreferencesUpdate();
  PreferencesUpdate(const PreferencesUpdate&) = delete;
  PreferencesUpdate& operator=(const PreferencesUpdate&) = delete;

 private:
  std::string applicationId_;
};

// The running application's identifier, which is also the identifier of its own preferences.
std::string CFBundleGetIdentifier();
