// SPDX-License-Identifier: MIT
// What the contract tests need around the back end under test: another process beside this one.
// Each back end's test program defines the operations.
#pragma once

#include <optional>
#include <string_view>

#include "platform/values/values.h"

namespace preferences_contract {

class Fixture {
 public:
  // No identifier has a value yet.
  Fixture();
  ~Fixture();

  // The other process sets a value, nothing removing it, and synchronises.
  void setElsewhere(std::string_view key, const std::optional<CFValue>& value,
                    std::string_view applicationId);

  // What a process that starts now sees.
  CFDictionary stored(std::string_view applicationId);
};

}  // namespace preferences_contract
