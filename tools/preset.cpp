// SPDX-License-Identifier: MIT
#include "tools/preset.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/posix/posix.h"
#include "platform/session_bus/session_bus.h"
#include "protocol/services.h"
#include "protocol/words.h"
#include "tools/choices.h"
#include "tools/commands.h"

namespace vx310ctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLargestPreset = std::size_t{64} << 10;
constexpr int kReadLimitMs = 60'000;

std::string shownName(const std::string& name) {
  return name == "-" ? "standard input" : printable(name);
}

// --- The text ---

const Choice* choiceOfMember(const std::string& name) {
  for (const Choice& choice : choices()) {
    if (memberOf(choice.name) == name) return &choice;
  }
  return nullptr;
}

std::string numberOf(const Json& preset, const char* name) {
  return preset.contains(name) ? preset[name].dump() : "none";
}

// What is wrong with the parts that say what the file is; empty when nothing is.
std::string problemOfHead(const Json& preset) {
  if (!preset.is_object()) return "is no preset: it is cut or no JSON";
  if (!preset.contains(member::kSchema) || !preset.contains(member::kSettings)) {
    return "is no preset: it has no schema or no settings";
  }
  if (preset[member::kSchema] != kJsonSchema) {
    return "is a preset of schema " + numberOf(preset, member::kSchema) + "; this program knows " +
           std::to_string(kJsonSchema);
  }
  if (numberOf(preset, member::kVendorId) != std::to_string(kVX310VendorId) ||
      numberOf(preset, member::kProductId) != std::to_string(kVX310ProductId)) {
    return "is a preset of another device (vendor_id " + numberOf(preset, member::kVendorId) +
           ", product_id " + numberOf(preset, member::kProductId) + ")";
  }
  const Json& settings = preset[member::kSettings];
  return settings.is_object() && !settings.empty() ? "" : "has no settings";
}

// Adds one setting of the file. Returns what is wrong with it; empty when nothing is.
std::string addItem(Items& items, const std::string& name, const Json& value) {
  const Choice* choice = choiceOfMember(name);
  if (!choice) return "has an unknown setting '" + name + "'";
  for (std::size_t i = 0; i < choice->items.size(); ++i) {
    if (value != choice->words[i]) continue;
    items[choice] = static_cast<std::int32_t>(i);
    return {};
  }
  return "sets " + name + " to " + value.dump(-1, ' ', false, Json::error_handler_t::replace) +
         ", which it cannot be";
}

// --- The file ---

bool failed(const std::string& name, const char* what, int reason) {
  std::fprintf(stderr, "vx310ctl: %s %s: %s\n", shownName(name).c_str(), what,
               std::strerror(reason));
  return false;
}

bool writeWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Creates a file beside `path` that no other process writes to, and sets *newPath.
FileDescriptor createBeside(const std::string& path, std::string* newPath) {
  constexpr mode_t kForAll = 0666;  // without the bits of the umask
  constexpr int kMostLeft = 100;    // by processes that were killed
  FileDescriptor file;
  for (int i = 0; i < kMostLeft && !file; ++i) {
    *newPath = path + ".vx310ctl-new-" + std::to_string(::getpid()) + "-" + std::to_string(i);
    file =
        FileDescriptor(::open(newPath->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kForAll));
    if (!file && errno != EEXIST) break;
  }
  return file;
}

// `old` is the file that is there; null when there is none.
bool replaceFile(const std::string& name, const std::string& path, const struct stat* old,
                 const std::string& text) {
  constexpr mode_t kModeBits = 07777;
  std::string newPath;
  const FileDescriptor file = createBeside(path, &newPath);
  if (file && (!old || ::fchmod(file.get(), old->st_mode & kModeBits) == 0) &&
      writeWhole(file.get(), text) && ::fsync(file.get()) == 0 &&
      ::rename(newPath.c_str(), path.c_str()) == 0) {
    return true;
  }
  const int reason = errno;
  if (file) ::unlink(newPath.c_str());
  return failed(name, "cannot be written", reason);
}

}  // namespace

std::string presetText(const Items& items) {
  Json settings = Json::object();
  for (const Choice& choice : choices()) {
    const auto item = items.find(&choice);
    if (item != items.end()) {
      settings[memberOf(choice.name)] = valueJson(choice.words, item->second);
    }
  }
  return jsonText({{member::kVendorId, kVX310VendorId},
                   {member::kProductId, kVX310ProductId},
                   {member::kSettings, settings}},
                  2);
}

std::optional<Items> parsePreset(const std::string& name, const std::string& text) {
  const Json preset = Json::parse(text, nullptr, false);
  std::string problem = problemOfHead(preset);
  Items items;
  if (problem.empty()) {
    for (const auto& [setting, value] : preset[member::kSettings].items()) {
      problem = addItem(items, setting, value);
      if (!problem.empty()) break;
    }
  }
  if (problem.empty()) return items;
  std::fprintf(stderr, "vx310ctl: %s %s\n", shownName(name).c_str(), printable(problem).c_str());
  return std::nullopt;
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

bool writeFile(const std::string& name, const std::string& text) {
  if (name == "-") return std::fputs(text.c_str(), stdout) >= 0;  // main() writes it out
  std::error_code error;
  const std::string path = std::filesystem::weakly_canonical(name, error);
  struct stat status {};
  const bool exists = !error && ::stat(path.c_str(), &status) == 0;
  if (!error && (!exists || S_ISREG(status.st_mode))) {
    return replaceFile(name, path, exists ? &status : nullptr, text);
  }
  const FileDescriptor file(::open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
  return (file && writeWhole(file.get(), text)) || failed(name, "cannot be written", errno);
}

}  // namespace vx310ctl
