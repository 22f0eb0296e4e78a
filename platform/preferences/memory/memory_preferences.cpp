#include "platform/preferences/memory/memory_preferences.h"

#include <map>
#include <utility>

namespace {

struct Domain {
  CFDictionary values;
  CFDictionary stored;
};

std::map<std::string, Domain, std::less<>> domains;
int synchronizesToFail = 0;

Domain& domainOf(std::string_view applicationId) {
  return domains.try_emplace(std::string(applicationId)).first->second;
}

}  // namespace

namespace memory_preferences {

CFDictionary storedValues(std::string_view applicationId) { return domainOf(applicationId).stored; }

void failNextSynchronize(int count) { synchronizesToFail = count; }

void reset() {
  domains.clear();
  synchronizesToFail = 0;
}

}  // namespace memory_preferences

std::optional<CFValue> CFPreferencesCopyAppValue(std::string_view key,
                                                 std::string_view applicationId) {
  const CFValue* value = CFDictionaryGetValue(domainOf(applicationId).values, key);
  return value ? std::optional<CFValue>(*value) : std::nullopt;
}

void CFPreferencesSetAppValue(std::string_view key, std::optional<CFValue> value,
                              std::string_view applicationId) {
  CFDictionary& values = domainOf(applicationId).values;
  if (value) {
    values.insert_or_assign(std::string(key), std::move(*value));
  } else if (const auto entry = values.find(key); entry != values.end()) {
    values.erase(entry);
  }
}

bool CFPreferencesAppSynchronize(std::string_view applicationId) {
  if (synchronizesToFail > 0) {
    --synchronizesToFail;
    return false;
  }
  Domain& domain = domainOf(applicationId);
  domain.stored = domain.values;
  return true;
}

std::string CFBundleGetIdentifier() { return "com.vantrel.vx310.panel"; }
