// SPDX-License-Identifier: MIT
#include "platform/property_list/property_list.h"

#include <locale.h>
#include <plist/plist.h>

#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <utility>

namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
struct FreePlist {
  void operator()(void* node) const { plist_free(node); }
};
using OwnedPlist = std::unique_ptr<void, FreePlist>;

// libplist takes and returns dates as 32-bit seconds since the start of 2001, which is this time_t.
constexpr std::time_t kStartOf2001 = 978307200;
constexpr const char* kDateFormat = "%Y-%m-%dT%H:%M:%SZ";

// --- Checks before libplist parses ---

std::size_t occurrences(std::string_view text, std::string_view what) {
  std::size_t count = 0;
  for (auto at = text.find(what); at != text.npos; at = text.find(what, at + what.size())) ++count;
  return count;
}

std::size_t containersOfXml(std::string_view xml) {
  return occurrences(xml, "<array") + occurrences(xml, "<dict");
}

// A binary list ends with a trailer of 32 bytes. Its bytes 8 to 15 are the number of objects, big
// endian. 0 when the list is too short for a trailer, which libplist refuses.
std::uint64_t objectsOfBinary(std::string_view binary) {
  constexpr std::size_t kTrailerSize = 32;
  if (binary.size() < kTrailerSize) return 0;
  std::uint64_t count = 0;
  for (const char byte : binary.substr(binary.size() - kTrailerSize + 8, 8)) {
    count = count << 8 | static_cast<unsigned char>(byte);
  }
  return count;
}

// --- Reading ---

// libplist parses reals with atof(), and the panel's locale may have a decimal comma. While this
// object exists, the calling thread uses the C locale's decimal point.
class CNumbers {
 public:
  CNumbers() : c_(newlocale(LC_NUMERIC_MASK, "C", nullptr)), before_(uselocale(c_)) {}
  ~CNumbers() {
    uselocale(before_);
    if (c_) freelocale(c_);
  }
  CNumbers(const CNumbers&) = delete;
  CNumbers& operator=(const CNumbers&) = delete;

 private:
  const locale_t c_;
  const locale_t before_;
};

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

// libplist returns negative numbers as their two's complement.
std::int64_t numberOf(plist_t node) {
  std::uint64_t number = 0;
  plist_get_uint_val(node, &number);
  return static_cast<std::int64_t>(number);
}

double realOf(plist_t node) {
  double number = 0;
  plist_get_real_val(node, &number);
  return number;
}

bool booleanOf(plist_t node) {
  std::uint8_t value = 0;
  plist_get_bool_val(node, &value);
  return value != 0;
}

std::string textOf(plist_t node) {
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text ? textForXml({text, length}) : std::string();
}

// libplist returns dates that do not fit in 32 bits as the lowest number.
std::optional<CFValue> dateOf(plist_t node) {
  std::int32_t seconds = 0;
  std::int32_t microseconds = 0;
  plist_get_date_val(node, &seconds, &microseconds);
  if (seconds == std::numeric_limits<std::int32_t>::min()) return std::nullopt;
  const std::time_t time = kStartOf2001 + seconds;
  std::tm fields = {};
  char text[32];
  if (!gmtime_r(&time, &fields)) return std::nullopt;
  return CFDate{std::string(text, std::strftime(text, sizeof text, kDateFormat, &fields))};
}

CFData dataOf(plist_t node) {
  std::uint64_t length = 0;
  const char* data = plist_get_data_ptr(node, &length);
  return data ? CFData(data, data + length) : CFData();
}

CFDictionary uidOf(plist_t node) {
  std::uint64_t number = 0;
  plist_get_uid_val(node, &number);
  return {{"CF$UID", static_cast<std::int64_t>(number)}};
}

// nullopt for node types CFValue cannot hold, and below kDeepestPropertyList.
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
    case PLIST_UID:
      return uidOf(node);
    case PLIST_ARRAY:
      return arrayOf(node, levelsLeft - 1);
    case PLIST_DICT:
      return dictionaryOf(node, levelsLeft - 1);
    default:
      return std::nullopt;
  }
}

// --- Writing ---

// libplist before 2.3: plist_new_uint() is signed. From 2.3 on: unsigned, use plist_new_int().
template <std::signed_integral Number>
plist_t newInteger(Number value) {
  if constexpr (requires { plist_new_int(value); }) {
    return plist_new_int(value);
  } else {
    return plist_new_uint(static_cast<std::uint64_t>(value));
  }
}

// Builds libplist's tree of one value. A null tree means that parsePropertyList() would refuse it.
class TreeBuilder {
 public:
  OwnedPlist build(const CFValue& value) {
    if (levelsLeft_ == 0) return nullptr;
    --levelsLeft_;
    OwnedPlist node = std::visit(*this, value.storage());
    ++levelsLeft_;
    return node;
  }

  // For std::visit.
  OwnedPlist operator()(bool value) { return OwnedPlist(plist_new_bool(value)); }
  OwnedPlist operator()(std::int64_t value) { return OwnedPlist(newInteger(value)); }
  OwnedPlist operator()(double value) { return OwnedPlist(plist_new_real(value)); }
  OwnedPlist operator()(const std::string& value) {
    return OwnedPlist(plist_new_string(textForXml(value).c_str()));
  }
  OwnedPlist operator()(const CFDate& value) {
    std::tm fields = {};
    const char* end = strptime(value.text.c_str(), kDateFormat, &fields);
    const std::time_t seconds = timegm(&fields) - kStartOf2001;
    if (!end || *end || !std::in_range<std::int32_t>(seconds)) return nullptr;
    return OwnedPlist(plist_new_date(static_cast<std::int32_t>(seconds), 0));
  }
  OwnedPlist operator()(const CFData& value) {
    return OwnedPlist(plist_new_data(reinterpret_cast<const char*>(value.data()), value.size()));
  }

  OwnedPlist operator()(const CFArray& array) {
    if (++containers_ > kMostPropertyListObjects) return nullptr;
    OwnedPlist node(plist_new_array());
    for (const CFValue& item : array) {
      OwnedPlist child = build(item);
      if (!child) return nullptr;
      plist_array_append_item(node.get(), child.release());
    }
    return node;
  }

  OwnedPlist operator()(const CFDictionary& dictionary) {
    if (++containers_ > kMostPropertyListObjects) return nullptr;
    OwnedPlist node(plist_new_dict());
    for (const auto& [key, item] : dictionary) {
      OwnedPlist child = build(item);
      if (!child) return nullptr;
      plist_dict_set_item(node.get(), textForXml(key).c_str(), child.release());
    }
    return node;
  }

 private:
  int levelsLeft_ = kDeepestPropertyList;
  std::size_t containers_ = 0;
};

// The characters of XML 1.0, section 2.2.
bool isXmlCharacter(std::string_view character) {
  if (character.size() > 1) return character != "\xEF\xBF\xBE" && character != "\xEF\xBF\xBF";
  const auto code = static_cast<unsigned char>(character[0]);
  return code >= 0x20 || code == '\t' || code == '\n' || code == '\r';
}

}  // namespace

std::string textForXml(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t size = utf8CharacterSize(text);
    const std::string_view character = text.substr(0, size);
    result += size > 0 && isXmlCharacter(character) ? character : "\xEF\xBF\xBD";
    text.remove_prefix(size > 0 ? size : 1);
  }
  return result;
}

std::optional<CFValue> parsePropertyList(std::string_view bytes) {
  const bool isBinary = bytes.starts_with("bplist");
  const auto objects = isBinary ? objectsOfBinary(bytes) : containersOfXml(bytes);
  if (objects > kMostPropertyListObjects || !std::in_range<std::uint32_t>(bytes.size())) {
    return std::nullopt;
  }
  plist_t root = nullptr;  // the library leaves it alone when it fails
  const CNumbers numbers;
  const auto parse = isBinary ? plist_from_bin : plist_from_xml;
  parse(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  const OwnedPlist owned(root);
  return root ? valueOf(root, kDeepestPropertyList) : std::nullopt;
}

std::optional<std::string> xmlPropertyList(const CFValue& value) {
  const OwnedPlist tree = TreeBuilder().build(value);
  if (!tree) return std::nullopt;
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_xml(tree.get(), &bytes, &size);
  const std::unique_ptr<char, Free> freeBytes(bytes);
  if (!bytes) return std::nullopt;
  std::string xml;
  for (const char byte : std::string_view(bytes, size)) {
    // XML parsers read a carriage return as a line feed unless it is escaped.
    if (byte == '\r') {
      xml += "&#13;";
    } else {
      xml += byte;
    }
  }
  return xml;
}
