// SPDX-License-Identifier: MIT
#include "platform/preferences/memory/memory_preferences.h"

#include <map>
#include <utility>

namespace {

void apply(CFDictionary& values, std::string_view key, const std::optional<CFValue>& value) {
  if (value) {
    values.insert_or_assign(std::string(key), *value);
  } else if (const auto entry = values.find(key); entry != values.end()) {
    values.erase(entry);
  }
}

struct Domain {
  CFDictionary stored;
  CFDictionary seen;  // `stored` at the first use, then at the last synchronise
  bool used = false;
  std::map<std::string, std::optional<CFValue>, std::less<>> changes;
  int updates = 0;
};

std::map<std::string, Domain, std::less<>> domains;
std::vector<std::string> asked;
int synchronizesToFail = 0;

Domain& domainOf(std::string_view applicationId) {
  return domains.try_emplace(std::string(applicationId)).first->second;
}

Domain& usedDomain(std::string_view applicationId) {
  Domain& domain = domainOf(applicationId);
  if (!domain.used) domain.seen = domain.stored;
  domain.used = true;
  return domain;
}

bool synchronize(Domain& domain) {
  if (synchronizesToFail > 0) {
    --synchronizesToFail;
    return false;
  }
  for (const auto& [key, value] : domain.changes) apply(domain.stored, key, value);
  domain.changes.clear();
  domain.seen = domain.stored;
  return true;
}

}  // namespace

namespace memory_preferences {

CFDictionary storedValues(std::string_view applicationId) { return domainOf(applicationId).stored; }

void storeFromOutside(std::string_view key, const std::optional<CFValue>& value,
                      std::string_view applicationId) {
  apply(domainOf(applicationId).stored, key, value);
}

void failNextSynchronize(int count) { synchronizesToFail = count; }

const std::vector<std::string>& operations() { return asked; }

void reset() {
  domains.clear();
  asked.clear();
  synchronizesToFail = 0;
}

}  // namespace memory_preferences

std::optional<CFValue> CFPreferencesCopyAppValue(std::string_view key,
                                                 std::string_view applicationId) {
  const Domain& domain = usedDomain(applicationId);
  const auto change = domain.changes.find(key);
  if (change != domain.changes.end()) return change->second;
  const CFValue* value = CFDictionaryGetValue(domain.seen, key);
  return value ? std::optional<CFValue>(*value) : std::nullopt;
}

void CFPreferencesSetAppValue(std::string_view key, std::optional<CFValue> value,
                              std::string_view applicationId) {
  asked.push_back((value ? "set " : "remove ") + std::string(key));
  usedDomain(applicationId).changes.insert_or_assign(std::string(key), std::move(value));
}

bool CFPreferencesAppSynchronize(std::string_view applicationId) {
  asked.push_back("synchronize");
  Domain& domain = usedDomain(applicationId);
  return domain.updates > 0 || synchronize(domain);
}

PreferencesUpdate::PreferencesUpdate(std::string_view applicationId)
    : applicationId_(applicationId) {
  ++usedDomain(applicationId_).updates;
}

PreferencesUpdate::~PreferencesUpdate() {
  Domain& domain = usedDomain(applicationId_);
  if (--domain.updates == 0) synchronize(domain);
}

std::string CFBundleGetIdentifier() { return "com.vantrel.vx310.panel"; }
