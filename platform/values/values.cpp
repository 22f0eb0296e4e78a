// SPDX-License-Identifier: MIT
#include "platform/values/values.h"

const CFValue* CFDictionaryGetValue(const CFDictionary& dictionary, std::string_view key) {
  const auto entry = dictionary.find(key);
  return entry == dictionary.end() ? nullptr : &entry->second;
}
