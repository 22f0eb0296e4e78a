// SPDX-License-Identifier: MIT
// Another process beside the contract tests. Each back end's test program defines the operations.
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

  // The other process sets a value, or with nullopt removes the key, and synchronises.
  void setElsewhere(std::string_view key, const std::optional<CFValue>& value,
                    std::string_view applicationId);

  // The values that a new process reads.
  CFDictionary stored(std::string_view applicationId);
};

}  // namespace preferences_contract
