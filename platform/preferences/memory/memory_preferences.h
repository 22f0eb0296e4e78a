// SPDX-License-Identifier: MIT
// What tests do to the in-memory preferences: see what was stored, and store as others do.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/preferences/preferences.h"

namespace memory_preferences {

// The values of one application identifier, as another process would see them: only what was
// synchronised.
CFDictionary storedValues(std::string_view applicationId);

// Stores a value as another process does; nothing removes the key.
void storeFromOutside(std::string_view key, const std::optional<CFValue>& value,
                      std::string_view applicationId);

// Lets the next `count` synchronises fail.
void failNextSynchronize(int count = 1);

// The settings, removals and synchronises asked for since the last reset, in order, under whatever
// identifier: "set KEY", "remove KEY" and "synchronize".
const std::vector<std::string>& operations();

void reset();

}  // namespace memory_preferences
