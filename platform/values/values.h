// SPDX-License-Identifier: MIT
// Property values: the types of the device registry's properties, of property lists and of
// preferences. Texts and keys are UTF-8.
//
// A CFValue owns its whole tree, and copying it copies the tree. Any thread may read a value that
// no thread changes; nothing here locks.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

class CFValue;

// A date as an XML property list writes it: "2024-01-31T23:59:58Z", always UTC. Nothing computes
// with dates; the type exists so that a list with a date can be written back.
struct CFDate {
  std::string text;
  bool operator==(const CFDate&) const = default;
};

using CFData = std::vector<std::uint8_t>;
using CFArray = std::vector<CFValue>;
using CFDictionary = std::map<std::string, CFValue, std::less<>>;

class CFValue {
 public:
  using Storage =
      std::variant<bool, std::int64_t, double, std::string, CFDate, CFData, CFArray, CFDictionary>;

  CFValue(bool value) : storage_(value) {}
  CFValue(std::integral auto value) : storage_(static_cast<std::int64_t>(value)) {}
  CFValue(double value) : storage_(value) {}
  CFValue(std::string value) : storage_(std::move(value)) {}
  CFValue(const char* value) : storage_(std::string(value)) {}
  CFValue(CFDate value) : storage_(std::move(value)) {}
  CFValue(CFData value) : storage_(std::move(value)) {}
  CFValue(CFArray value) : storage_(std::move(value)) {}
  CFValue(CFDictionary value) : storage_(std::move(value)) {}

  // The value as a T, or null when it is of another type. The pointer lives as long as this value.
  template <typename T>
  const T* as() const {
    return std::get_if<T>(&storage_);
  }

  const Storage& storage() const { return storage_; }

  bool operator==(const CFValue& other) const { return storage_ == other.storage_; }

 private:
  Storage storage_;
};

// The entry of `dictionary` under `key`, or null. The pointer lives as long as the entry.
const CFValue* CFDictionaryGetValue(const CFDictionary& dictionary, std::string_view key);

// The entry under `key` as a T; null when it is missing or of another type.
template <typename T>
const T* CFDictionaryGet(const CFDictionary& dictionary, std::string_view key) {
  const CFValue* value = CFDictionaryGetValue(dictionary, key);
  return value ? value->as<T>() : nullptr;
}

// The integer under `key`, truncated to T; nullopt when the entry is missing or no integer.
template <std::integral T>
std::optional<T> CFNumberGetValue(const CFDictionary& dictionary, std::string_view key) {
  const auto* number = CFDictionaryGet<std::int64_t>(dictionary, key);
  return number ? std::optional<T>(static_cast<T>(*number)) : std::nullopt;
}

// Bytes of the UTF-8 character that `text`, which is not empty, starts with; 0 when its first bytes
// are no UTF-8. Overlong forms, surrogates and numbers above U+10FFFF are no UTF-8.
std::size_t utf8CharacterSize(std::string_view text);
