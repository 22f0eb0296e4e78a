// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "platform/preferences/plist/preferences_file.h"
#include "platform/preferences/preferences_contract_fixture.h"
#include "tests/support/temporary_directory.h"

namespace preferences_contract {

namespace {

// A new folder for each test: the process-wide values are kept by path, so none are left over.
std::unique_ptr<test_support::TemporaryDirectory> home;

std::string folder() { return home->path() / "vantrel/preferences"; }
std::string nameOf(std::string_view applicationId) { return std::string(applicationId) + ".plist"; }

}  // namespace

Fixture::Fixture() {
  home = std::make_unique<test_support::TemporaryDirectory>();
  setenv("XDG_CONFIG_HOME", home->path().c_str(), 1);
}

Fixture::~Fixture() { home.reset(); }

// A second PreferencesFile stands for another process: both share only the file.
void Fixture::setElsewhere(std::string_view key, const std::optional<CFValue>& value,
                           std::string_view applicationId) {
  PreferencesFile file(folder(), nameOf(applicationId));
  file.set(key, value);
  file.synchronize();
}

CFDictionary Fixture::stored(std::string_view applicationId) {
  std::ifstream file(folder() + "/" + nameOf(applicationId), std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  return parsePreferences(bytes).value_or(CFDictionary());
}

}  // namespace preferences_contract
