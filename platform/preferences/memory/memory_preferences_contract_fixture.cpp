// SPDX-License-Identifier: MIT
#include "platform/preferences/memory/memory_preferences.h"
#include "platform/preferences/preferences_contract_fixture.h"

namespace preferences_contract {

Fixture::Fixture() { memory_preferences::reset(); }
Fixture::~Fixture() { memory_preferences::reset(); }

void Fixture::setElsewhere(std::string_view key, const std::optional<CFValue>& value,
                           std::string_view applicationId) {
  memory_preferences::storeFromOutside(key, value, applicationId);
}

CFDictionary Fixture::stored(std::string_view applicationId) {
  return memory_preferences::storedValues(applicationId);
}

}  // namespace preferences_contract
