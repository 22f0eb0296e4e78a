// What tests do to the in-memory preferences: see what was stored.
#pragma once

#include <string_view>

#include "platform/preferences/preferences.h"

namespace memory_preferences {

// The values of one application identifier, as another process would see them: only what was
// synchronised.
CFDictionary storedValues(std::string_view applicationId);

// Lets the next `count` synchronises fail.
void failNextSynchronize(int count = 1);

void reset();

}  // namespace memory_preferences
