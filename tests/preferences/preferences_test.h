// SPDX-License-Identifier: MIT
// Fixture for tests with several processes: a temporary folder is the user's configuration folder.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>

#include "platform/preferences/plist/preferences_file.h"
#include "platform/preferences/preferences.h"
#include "tests/preferences/forked.h"
#include "tests/support/temporary_directory.h"

namespace preferences_test {

namespace fs = std::filesystem;

inline constexpr const char* kId = "com.vantrel.test.hal";

class PreferencesTest : public testing::Test {
 protected:
  PreferencesTest() {
    setenv("XDG_CONFIG_HOME", home_.path().c_str(), 1);
    fs::create_directories(folder());
  }

  fs::path folder() const { return home_.path() / "vantrel/preferences"; }
  fs::path path() const { return folder() / (std::string(kId) + ".plist"); }

  std::string bytes() const {
    std::ifstream file(path(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  // The values in the file; nullopt when it is missing or damaged.
  std::optional<CFDictionary> stored() const { return parsePreferences(bytes()); }

  bool isStored(const char* key) const { return stored().value_or(CFDictionary()).contains(key); }

  std::set<std::string> names() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) {
      names.insert(entry.path().filename());
    }
    return names;
  }

  static void set(std::string_view key, std::optional<CFValue> value) {
    CFPreferencesSetAppValue(key, std::move(value), kId);
  }
  static std::optional<CFValue> copy(std::string_view key) {
    return CFPreferencesCopyAppValue(key, kId);
  }
  static bool synchronize() { return CFPreferencesAppSynchronize(kId); }

  test_support::TemporaryDirectory home_;
};

}  // namespace preferences_test
