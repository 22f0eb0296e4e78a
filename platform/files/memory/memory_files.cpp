// SPDX-License-Identifier: MIT
#include "platform/files/memory/memory_files.h"

#include <algorithm>
#include <map>
#include <utility>

namespace {

constexpr std::string_view kFolder = "Preferences/";
constexpr std::size_t kLongestName = 255;

std::map<std::string, CFValue, std::less<>> files;

struct Failure {
  OSStatus status;
  int times;
};

struct OpenFork {
  std::string bytes;
  std::size_t position = 0;
};

std::map<std::string, std::string, std::less<>> preferencesFiles;  // by path
std::map<std::string, Failure, std::less<>> failures;
std::map<FSForkRef, OpenFork> forks;
std::optional<std::size_t> reportedRead;
std::vector<std::string> asked;

// Logs an operation. Returns its requested failure.
std::optional<OSStatus> note(std::string_view operation, const std::string& detail = {}) {
  asked.push_back(std::string(operation) + (detail.empty() ? "" : " ") + detail);
  const auto failure = failures.find(operation);
  if (failure == failures.end() || failure->second.times == 0) return std::nullopt;
  --failure->second.times;
  return failure->second.status;
}

bool isFileName(std::string_view name) {
  return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
         name.find('/') == name.npos && name.find('\0') == name.npos;
}

std::string nameOf(const FSRef& file) {
  return file.path.substr(std::min(kFolder.size(), file.path.size()));
}

}  // namespace

namespace memory_files {

void put(std::string path, CFValue content) {
  files.insert_or_assign(std::move(path), std::move(content));
}

void putPreferencesFile(std::string_view name, std::string bytes) {
  preferencesFiles.insert_or_assign(std::string(kFolder).append(name), std::move(bytes));
}

std::optional<std::string> preferencesFile(std::string_view name) {
  const auto file = preferencesFiles.find(std::string(kFolder).append(name));
  return file == preferencesFiles.end() ? std::nullopt : std::optional(file->second);
}

void fail(std::string operation, OSStatus status, int times) {
  failures.insert_or_assign(std::move(operation), Failure{status, times});
}

void reportRead(std::size_t count) { reportedRead = count; }

const std::vector<std::string>& operations() { return asked; }

void reset() {
  files.clear();
  preferencesFiles.clear();
  failures.clear();
  forks.clear();
  reportedRead.reset();
  asked.clear();
}

}  // namespace memory_files

std::optional<CFDictionary> dictionaryWithContentsOfFile(std::string_view path) {
  const auto file = files.find(path);
  if (file == files.end()) return std::nullopt;
  const auto* dictionary = file->second.as<CFDictionary>();
  return dictionary ? std::optional(*dictionary) : std::nullopt;
}

OSStatus FSFindFolder(std::int16_t domain, std::uint32_t type, bool create, FSRef& folder) {
  if (const auto failure = note("FSFindFolder", create ? "create" : "")) return *failure;
  if (domain != kOnSystemDisk || type != kPreferencesFolderType) return fnfErr;
  folder.path = kFolder;
  return noErr;
}

OSStatus FSMakeFSRefUnicode(const FSRef& folder, std::string_view name, FSRef& file) {
  if (const auto failure = note("FSMakeFSRefUnicode", std::string(name))) return *failure;
  if (folder.path.empty()) return fnfErr;
  if (!isFileName(name)) return bdNamErr;
  std::string path = folder.path + std::string(name);
  if (!preferencesFiles.contains(path)) return fnfErr;
  file.path = std::move(path);
  return noErr;
}

OSStatus FSCreateFileUnicode(const FSRef& folder, std::string_view name, FSRef& file) {
  if (const auto failure = note("FSCreateFileUnicode", std::string(name))) return *failure;
  if (folder.path.empty()) return fnfErr;
  if (!isFileName(name)) return bdNamErr;
  std::string path = folder.path + std::string(name);
  if (!preferencesFiles.try_emplace(path).second) return dupFNErr;
  file.path = std::move(path);
  return noErr;
}

OSStatus FSGetDataForkName(std::string& name) {
  if (const auto failure = note("FSGetDataForkName")) return *failure;
  name.clear();
  return noErr;
}

OSStatus FSOpenFork(const FSRef& file, std::string_view forkName, std::int8_t permission,
                    FSForkRef& fork) {
  if (const auto failure = note("FSOpenFork", nameOf(file) + " " + std::to_string(permission))) {
    return *failure;
  }
  if (!forkName.empty()) return errFSForkNotFound;
  const auto content = preferencesFiles.find(file.path);
  if (content == preferencesFiles.end()) return fnfErr;
  FSForkRef free = 0;
  while (forks.contains(free)) ++free;
  forks.try_emplace(free, OpenFork{content->second});
  fork = free;
  return noErr;
}

OSStatus FSReadFork(FSForkRef fork, std::span<char> to, std::size_t& count) {
  count = 0;
  if (const auto failure = note("FSReadFork", std::to_string(to.size()))) return *failure;
  if (reportedRead) {
    count = *std::exchange(reportedRead, std::nullopt);
    return noErr;
  }
  const auto open = forks.find(fork);
  if (open == forks.end()) return ioErr;
  auto& [bytes, position] = open->second;
  count = bytes.copy(to.data(), to.size(), position);
  position += count;
  return count < to.size() ? eofErr : noErr;
}

OSStatus FSCloseFork(FSForkRef fork) {
  if (const auto failure = note("FSCloseFork")) return *failure;
  return forks.erase(fork) == 1 ? noErr : ioErr;
}
