#include "platform/files/memory/memory_files.h"

#include <map>
#include <utility>

#include "platform/files/files.h"

namespace {

std::map<std::string, CFValue, std::less<>> files;

}  // namespace

namespace memory_files {

void put(std::string path, CFValue content) {
  files.insert_or_assign(std::move(path), std::move(content));
}

void reset() { files.clear(); }

}  // namespace memory_files

std::optional<CFDictionary> dictionaryWithContentsOfFile(std::string_view path) {
  const auto file = files.find(path);
  if (file == files.end()) return std::nullopt;
  const auto* dictionary = file->second.as<CFDictionary>();
  return dictionary ? std::optional(*dictionary) : std::nullopt;
}
