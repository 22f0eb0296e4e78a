// SPDX-License-Identifier: MIT
// Makes files for the contract tests. Each back end's test program defines the operations.
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

  // Writes a file in the Preferences folder, which is missing before the first one.
  void putPreferencesFile(const std::string& name, const std::string& bytes);
  std::optional<std::string> preferencesFile(const std::string& name);
};

}  // namespace files_contract
