// SPDX-License-Identifier: MIT
#include "platform/files/files_contract_fixture.h"
#include "platform/files/memory/memory_files.h"

namespace files_contract {

Fixture::Fixture() { memory_files::reset(); }
Fixture::~Fixture() { memory_files::reset(); }

void Fixture::put(const std::string& path, const CFValue& content) {
  memory_files::put(path, content);
}

void Fixture::putPreferencesFile(const std::string& name, const std::string& bytes) {
  memory_files::putPreferencesFile(name, bytes);
}

std::optional<std::string> Fixture::preferencesFile(const std::string& name) {
  return memory_files::preferencesFile(name);
}

}  // namespace files_contract
