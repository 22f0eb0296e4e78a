// SPDX-License-Identifier: MIT
// Preferences seam: values under a key of an application identifier, shared between processes.
//
// Set values are visible to this process at once and to other processes after a synchronise. Main
// thread only. Texts and keys are UTF-8; what is not, and control characters other than tab, line
// feed and carriage return, may come back as U+FFFD.
//
// Back ends: plist/ (a property-list file per identifier), memory/ (for tests).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/values/values.h"

// A copy of the value under `key`; nothing when there is none.
std::optional<CFValue> CFPreferencesCopyAppValue(std::string_view key,
                                                 std::string_view applicationId);

// Sets the value under `key`; nothing removes the key. Cannot fail; whether it lasts is said by the
// next synchronise.
void CFPreferencesSetAppValue(std::string_view key, std::optional<CFValue> value,
                              std::string_view applicationId);

// Makes all values set so far durable and takes in what other processes stored, of which only the
// keys that were set here are replaced. False when either could not be done; the values set stay
// visible here and are tried again at the next call.
bool CFPreferencesAppSynchronize(std::string_view applicationId);

// Puts the synchronises of one identifier together: while one of these lives they return true and
// do nothing, and the end of the last one synchronises once. What is set meanwhile lasts wholly or
// not at all. For an import, whose many synchronises would each store all that came before.
class PreferencesUpdate {
 public:
  explicit PreferencesUpdate(std::string_view applicationId);
  ~PreferencesUpdate();
  PreferencesUpdate(const PreferencesUpdate&) = delete;
  PreferencesUpdate& operator=(const PreferencesUpdate&) = delete;

 private:
  std::string applicationId_;
};

// The identifier of the running application, under which its own preferences lie.
std::string CFBundleGetIdentifier();
