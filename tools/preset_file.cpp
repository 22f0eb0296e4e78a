// SPDX-License-Identifier: MIT
#include "tools/preset_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/posix/posix.h"
#include "platform/session_bus/session_bus.h"
#include "tools/commands.h"

namespace vx310ctl {

namespace {

constexpr int kReadLimitMs = 60'000;

bool failed(const std::string& name, const char* what, int reason) {
  explainFile(name, std::string(what) + ": " + std::strerror(reason));
  return false;
}

}  // namespace

std::string undoFile() { return preferencesFolder() + "/vx310ctl-undo.json"; }

void explainFile(const std::string& name, const std::string& problem) {
  const std::string shown = name == "-" ? "standard input" : name.empty() ? "''" : printable(name);
  std::fprintf(stderr, "vx310ctl: %s %s\n", shown.c_str(), printable(problem).c_str());
}

std::optional<std::string> readFile(const std::string& name) {
  FileDescriptor opened;
  if (name != "-") {
    opened = FileDescriptor(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!opened) {
      failed(name, "cannot be read", errno);
      return std::nullopt;
    }
  }
  const int descriptor = opened ? opened.get() : STDIN_FILENO;
  const session_bus::Deadline deadline(kReadLimitMs);
  std::string text;
  std::array<char, 4096> part{};
  for (;;) {
    pollfd waited{descriptor, POLLIN, 0};
    const int ready = ::poll(&waited, 1, deadline.milliseconds());
    if (ready < 0 && errno == EINTR) continue;  // read() would wait without a limit
    int reason = ready == 0 ? ETIMEDOUT : ready < 0 ? errno : 0;
    const ssize_t size = reason == 0 ? ::read(descriptor, part.data(), part.size()) : -1;
    if (size == 0) return text;
    if (size > 0) text.append(part.data(), static_cast<std::size_t>(size));
    if (reason == 0 && size < 0) reason = errno;
    if (text.size() > kLargestPreset) reason = EFBIG;
    if (reason != 0 && reason != EINTR && reason != EAGAIN) {
      failed(name, "cannot be read", reason);
      return std::nullopt;
    }
  }
}

bool writeFile(const std::string& name, const std::string& text, std::optional<mode_t> mode) {
  if (name == "-") return std::fputs(text.c_str(), stdout) >= 0;  // main() writes it out
  std::error_code error;
  auto path = std::filesystem::absolute(name, error);
  if (!error) path = std::filesystem::weakly_canonical(path, error);
  struct stat status {};
  bool isWritten = false;
  if (!error && (::stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode))) {
    // Others may save to the same file at the same time: a name of its own, which replaceFile()
    // takes over.
    std::string newPath = path.string() + ".vx310ctl-new-XXXXXX";
    const FileDescriptor own(::mkostemp(newPath.data(), O_CLOEXEC));
    isWritten = own && replaceFile(path, newPath, text, mode);
    // The file is replaced, whether its folder can be synced or not.
    if (isWritten) syncFolder(path.parent_path());
  } else {
    const FileDescriptor file(::open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
    isWritten = file && writeWhole(file.get(), text);
  }
  return isWritten || failed(name, "cannot be written", errno);
}

}  // namespace vx310ctl
