// SPDX-License-Identifier: MIT
// The preferences of all identifiers, one property-list file each in the Preferences folder.
#include "platform/posix/posix.h"
#include "platform/preferences/plist/preferences_file.h"
#include "platform/preferences/preferences.h"

namespace {

struct Domain {
  explicit Domain(std::string folder, std::string_view name) : file(std::move(folder), name) {}
  ~Domain() { file.retry(); }  // at the end of the program
  Domain(const Domain&) = delete;
  Domain& operator=(const Domain&) = delete;

  PreferencesFile file;
  int updates = 0;
};

// An identifier with a '/' could name a file outside the folder: its values live in memory only.
Domain& domainOf(std::string_view applicationId) {
  static std::map<std::string, Domain> domains;  // by the file's path
  std::string folder = preferencesFolder();
  if (applicationId.find('/') != applicationId.npos) folder.clear();
  const std::string name = std::string(applicationId) + ".plist";
  const std::string path = folder + "/" + name;
  return domains.try_emplace(path, folder, name).first->second;
}

}  // namespace

std::optional<CFValue> CFPreferencesCopyAppValue(std::string_view key,
                                                 std::string_view applicationId) {
  return domainOf(applicationId).file.copy(key);
}

void CFPreferencesSetAppValue(std::string_view key, std::optional<CFValue> value,
                              std::string_view applicationId) {
  domainOf(applicationId).file.set(key, std::move(value));
}

bool CFPreferencesAppSynchronize(std::string_view applicationId) {
  Domain& domain = domainOf(applicationId);
  return domain.updates > 0 || domain.file.synchronize();
}

PreferencesUpdate::PreferencesUpdate(std::string_view applicationId)
    : applicationId_(applicationId) {
  ++domainOf(applicationId_).updates;
}

PreferencesUpdate::~PreferencesUpdate() {
  Domain& domain = domainOf(applicationId_);
  if (--domain.updates == 0) domain.file.synchronize();
}

std::string CFBundleGetIdentifier() { return "com.vantrel.vx310.panel"; }
