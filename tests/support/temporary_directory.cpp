// SPDX-License-Identifier: MIT
#include "tests/support/temporary_directory.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <system_error>

namespace test_support {

TemporaryDirectory::TemporaryDirectory() {
  std::error_code error;
  std::string pattern = (std::filesystem::temp_directory_path(error) / "vx310-XXXXXX").string();
  if (!::mkdtemp(pattern.data())) {
    std::perror(pattern.c_str());
    std::abort();
  }
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TemporaryDirectory::write(std::string_view name,
                                                std::string_view content) const {
  const std::filesystem::path file = path_ / name;
  std::ofstream(file, std::ios::binary) << content;
  return file;
}

}  // namespace test_support
