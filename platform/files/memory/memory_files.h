// What tests do to the in-memory files: say what is there.
#pragma once

#include <string>

#include "platform/values/values.h"

namespace memory_files {

// Makes `path` a property list that holds `content`.
void put(std::string path, CFValue content);

// Leaves no file.
void reset();

}  // namespace memory_files
