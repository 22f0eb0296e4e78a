// Files below the system root: the folder that stands for "/" of the described system.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include "platform/files/files.h"
#include "platform/property_list/property_list.h"

namespace {

constexpr std::size_t kLargestFile = 16 << 20;

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

std::string systemRoot() {
  const char* root = std::getenv("VX310_SYSTEM_ROOT");
  return root && *root ? root : VX310_SYSTEM_ROOT_DEFAULT;
}

// Only regular files: opening or reading anything else might wait.
bool isReadable(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
         std::cmp_less_equal(status.st_size, kLargestFile);
}

std::optional<std::string> contentsOf(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (file.get() < 0 || !isReadable(file.get())) return std::nullopt;
  std::string contents;
  char block[16384];
  while (contents.size() <= kLargestFile) {  // the file may be growing
    const ssize_t count = read(file.get(), block, sizeof block);
    if (count == 0) return contents;
    if (count > 0) {
      contents.append(block, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<CFDictionary> dictionaryWithContentsOfFile(std::string_view path) {
  const auto contents = contentsOf(systemRoot().append(path));
  auto list = contents ? parsePropertyList(*contents) : std::nullopt;
  const auto* dictionary = list ? list->as<CFDictionary>() : nullptr;
  return dictionary ? std::optional(*dictionary) : std::nullopt;
}
