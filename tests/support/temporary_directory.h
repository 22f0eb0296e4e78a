// SPDX-License-Identifier: MIT
// A folder of its own for one test, with everything in it removed at the end.
#pragma once

#include <filesystem>
#include <string_view>

namespace test_support {

class TemporaryDirectory {
 public:
  // Makes a new folder in the system's folder for temporary files. On failure prints a message and
  // ends the test program.
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // Writes the file `name`, replacing an existing one; returns its path.
  std::filesystem::path write(std::string_view name, std::string_view content) const;

 private:
  std::filesystem::path path_;
};

}  // namespace test_support
