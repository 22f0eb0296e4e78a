// SPDX-License-Identifier: MIT
// How the contract tests put a file where the back end under test finds it. Each back end's test
// program defines the operations.
#pragma once

#include <optional>
#include <string>

#include "platform/values/values.h"

namespace files_contract {

class Fixture {
 public:
  Fixture();
  ~Fixture();

  void put(const std::string& path, const CFValue& content);

  // A file in the Preferences folder, which is not there before.
  void putPreferencesFile(const std::string& name, const std::string& bytes);
  std::optional<std::string> preferencesFile(const std::string& name);
};

}  // namespace files_contract
