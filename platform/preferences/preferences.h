// Preferences seam: values under a key of an application identifier, shared between processes.
//
// Set values are visible to this process at once and to other processes after a synchronise. Main
// thread only.
//
// Back ends: memory/ (for tests, and for programs that keep nothing).
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

// Makes all values set so far durable and takes in what other processes stored. False when either
// could not be done; the values set stay visible here and are tried again at the next call.
bool CFPreferencesAppSynchronize(std::string_view applicationId);

// The identifier of the running application, under which its own preferences lie.
std::string CFBundleGetIdentifier();
