// SPDX-License-Identifier: MIT
// Property values: the numbers, texts, dates, data blocks, arrays and dictionaries that the device
// registry publishes and that property lists and preferences hold.
//
// Plain values: copying copies the whole tree, and whoever holds a copy owns it. A copy may be read
// from any thread; nothing here locks.
#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

class CFValue;

// A point in time as property lists write it, ISO 8601 in UTC to the second. Nobody here computes
// with one; it is kept so that a list that holds one can be written again.
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

// The integer under `key`, cut to the width of T (two's complement); nothing when the entry is
// missing or no integer.
template <std::integral T>
std::optional<T> CFNumberGetValue(const CFDictionary& dictionary, std::string_view key) {
  const auto* number = CFDictionaryGet<std::int64_t>(dictionary, key);
  return number ? std::optional<T>(static_cast<T>(*number)) : std::nullopt;
}
