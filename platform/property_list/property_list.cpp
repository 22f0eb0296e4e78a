// SPDX-License-Identifier: MIT
#include "platform/property_list/property_list.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "platform/property_list/binary_reader.h"

namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
struct FreePlist {
  void operator()(void* node) const { plist_free(node); }
};
using OwnedPlist = std::unique_ptr<void, FreePlist>;

std::size_t occurrences(std::string_view text, std::string_view what) {
  std::size_t count = 0;
  for (auto at = text.find(what); at != text.npos; at = text.find(what, at + what.size())) ++count;
  return count;
}

// A quick look at the bytes, before the library builds a tree from them.
bool hasTooManyContainers(std::string_view xml) {
  return occurrences(xml, "<array") + occurrences(xml, "<dict") > kMostPropertyListObjects;
}

std::optional<CFValue> valueOf(plist_t node, int levelsLeft);

std::optional<CFValue> arrayOf(plist_t node, int levelsLeft) {
  CFArray array;
  for (std::uint32_t i = 0; i < plist_array_get_size(node); ++i) {
    auto value = valueOf(plist_array_get_item(node, i), levelsLeft);
    if (!value) return std::nullopt;
    array.push_back(*std::move(value));
  }
  return array;
}

std::optional<CFValue> dictionaryOf(plist_t node, int levelsLeft) {
  CFDictionary dictionary;
  plist_dict_iter position = nullptr;
  plist_dict_new_iter(node, &position);
  const std::unique_ptr<void, Free> freePosition(position);
  for (;;) {
    char* key = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, position, &key, &item);
    const std::unique_ptr<char, Free> freeKey(key);
    if (!item) return dictionary;
    auto value = valueOf(item, levelsLeft);
    if (!value || !key) return std::nullopt;
    dictionary.insert_or_assign(textForXml(key), *std::move(value));
  }
}

std::optional<CFValue> numberOf(plist_t node) {
  std::uint64_t number = 0;
  plist_get_uint_val(node, &number);
  return static_cast<std::int64_t>(number);  // negative ones come as their two's complement
}

std::optional<CFValue> realOf(plist_t node) {
  double number = 0;
  plist_get_real_val(node, &number);
  return number;
}

std::optional<CFValue> booleanOf(plist_t node) {
  std::uint8_t value = 0;
  plist_get_bool_val(node, &value);
  return value != 0;
}

std::optional<CFValue> textOf(plist_t node) {
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text ? textForXml({text, length}) : std::string();
}

std::optional<CFValue> dataOf(plist_t node) {
  std::uint64_t length = 0;
  const char* data = plist_get_data_ptr(node, &length);
  return data ? CFData(data, data + length) : CFData();
}

// The text is read from the library's own writing of the date: its releases do not agree on another
// way to ask for one. It leaves out the zeros before a year. What it makes of a date that is none
// may lie before the year 0, where it would not read its own writing as the same date.
std::optional<CFValue> dateOf(plist_t node) {
  constexpr std::string_view kOpen = "<date>";
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(node, &xml, &length);
  const std::unique_ptr<char, Free> freeXml(xml);
  const std::string_view text = xml ? std::string_view(xml, length) : std::string_view();
  const auto open = text.find(kOpen);
  const auto close = text.find("</date>");
  if (open == text.npos || close == text.npos) return std::nullopt;
  const auto start = open + kOpen.size();
  const std::string_view date = text.substr(start, close - start);
  const auto yearDigits = date.find('-');
  if (yearDigits == 0 || yearDigits > 4) return std::nullopt;
  return CFDate{std::string(4 - yearDigits, '0').append(date)};
}

// Nothing for what no property value stands for, and below the deepest level.
std::optional<CFValue> valueOf(plist_t node, int levelsLeft) {
  if (levelsLeft == 0) return std::nullopt;
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN:
      return booleanOf(node);
    case PLIST_UINT:
      return numberOf(node);
    case PLIST_REAL:
      return realOf(node);
    case PLIST_STRING:
      return textOf(node);
    case PLIST_DATE:
      return dateOf(node);
    case PLIST_DATA:
      return dataOf(node);
    case PLIST_ARRAY:
      return arrayOf(node, levelsLeft - 1);
    case PLIST_DICT:
      return dictionaryOf(node, levelsLeft - 1);
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<CFValue> parsePropertyList(std::string_view bytes) {
  if (bytes.starts_with(kBinaryListMark)) return parseBinaryPropertyList(bytes);
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max() || hasTooManyContainers(bytes)) {
    return std::nullopt;
  }
  plist_t root = nullptr;  // the library leaves it alone when it fails
  plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  const OwnedPlist owned(root);
  return root ? valueOf(root, kDeepestPropertyList) : std::nullopt;
}
