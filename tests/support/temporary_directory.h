// SPDX-License-Identifier: MIT
// A folder of its own for one test, with everything in it removed at the end.
#pragma once

#include <filesystem>
#include <string_view>

namespace test_support {

class TemporaryDirectory {
 public:
  // A new folder below the system's folder for temporary files. A test cannot go on without one:
  // failing to make it ends the process with a message.
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // Writes a file of that name, replacing one that is there; gives its path.
  std::filesystem::path write(std::string_view name, std::string_view content) const;

 private:
  std::filesystem::path path_;
};

}  // namespace test_support
