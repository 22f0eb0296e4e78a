// How the contract tests put a file where the back end under test finds it. Each back end's test
// program defines the operations.
#pragma once

#include <string>

#include "platform/values/values.h"

namespace files_contract {

class Fixture {
 public:
  Fixture();
  ~Fixture();

  void put(const std::string& path, const CFValue& content);
};

}  // namespace files_contract
