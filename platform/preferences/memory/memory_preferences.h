// SPDX-License-Identifier: MIT
// Controls of the in-memory preferences, for tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/preferences/preferences.h"

namespace memory_preferences {

// The values of one application identifier as another process sees them: only synchronised ones.
CFDictionary storedValues(std::string_view applicationId);

// Stores a value as another process does; nullopt removes the key.
void storeFromOutside(std::string_view key, const std::optional<CFValue>& value,
                      std::string_view applicationId);

// Makes the next `count` synchronises fail.
void failNextSynchronize(int count = 1);

// The operations since the last reset, in order, of all identifiers: "set KEY", "remove KEY" and
// "synchronize".
const std::vector<std::string>& operations();

void reset();

}  // namespace memory_preferences
