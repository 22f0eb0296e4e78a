// SPDX-License-Identifier: MIT
#include "tests/support/open_files.h"

#include <filesystem>
#include <string>
#include <system_error>

namespace test_support {

std::size_t countOpenFiles(pid_t process, std::string_view target) {
  std::size_t count = 0;
  const std::filesystem::path folder = "/proc/" + std::to_string(process) + "/fd";
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    // The descriptor that reads the folder may be closed by now.
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) == target) ++count;
  }
  return count;
}

}  // namespace test_support
