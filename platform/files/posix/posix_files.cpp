// SPDX-License-Identifier: MIT
// Property lists below the system root, the folder to which the paths of the driver package belong.
#include <fcntl.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/files/files.h"
#include "platform/posix/posix.h"
#include "platform/property_list/property_list.h"

namespace {

constexpr std::size_t kLargestFile = 16 << 20;

std::string systemRoot() {
  const char* root = std::getenv("VX310_SYSTEM_ROOT");
  if (root && *root) return root;
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return program.parent_path() / VX310_SYSTEM_ROOT_BESIDE_PROGRAMS;
}

// O_NONBLOCK: opening a pipe would wait for a writer.
std::optional<std::string> contentsOf(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  return file ? readWhole(file, kLargestFile) : std::nullopt;
}

}  // namespace

std::optional<CFDictionary> dictionaryWithContentsOfFile(std::string_view path) {
  const auto contents = contentsOf(systemRoot().append(path));
  auto list = contents ? parsePropertyList(*contents) : std::nullopt;
  const auto* dictionary = list ? list->as<CFDictionary>() : nullptr;
  return dictionary ? std::optional(*dictionary) : std::nullopt;
}
