// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/property_values.h"

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

namespace device_registry {

namespace {

// Every reader here advances past one whole value and returns a negative number when the message is
// damaged. A value that CFValue cannot hold is skipped and stores nothing.
int readValue(sd_bus_message* message, std::optional<CFValue>& value);

template <typename Wire>
int readBasic(sd_bus_message* message, char type, std::optional<CFValue>& value) {
  Wire wire{};
  const int result = sd_bus_message_read_basic(message, type, &wire);
  if (result >= 0) value = CFValue(wire);
  return result;
}

int readBoolean(sd_bus_message* message, std::optional<CFValue>& value) {
  int wire = 0;
  const int result = sd_bus_message_read_basic(message, SD_BUS_TYPE_BOOLEAN, &wire);
  if (result >= 0) value = CFValue(wire != 0);
  return result;
}

int readData(sd_bus_message* message, std::optional<CFValue>& value) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  const int result = sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &bytes, &size);
  if (result < 0) return result;
  const auto* first = static_cast<const std::uint8_t*>(bytes);
  value = CFValue(CFData(first, first + size));
  return result;
}

int readVariant(sd_bus_message* message, const char* contents, std::optional<CFValue>& value) {
  int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, contents);
  if (result < 0) return result;
  result = readValue(message, value);
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

int readEntry(sd_bus_message* message, CFDictionary& dictionary) {
  const char* key = nullptr;
  int result = sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &key);
  if (result < 0) return result;
  std::optional<CFValue> value;
  result = readValue(message, value);
  if (result < 0) return result;
  if (value) dictionary.insert_or_assign(key, std::move(*value));
  return sd_bus_message_exit_container(message);
}

// `entry` is the type of an entry with its braces: "{sv}".
int readEntries(sd_bus_message* message, std::string_view entry, CFDictionary& dictionary) {
  const std::string array(entry);
  const std::string inside(entry.substr(1, entry.size() - 2));
  int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, array.c_str());
  if (result <= 0) return result < 0 ? result : -ENXIO;
  while ((result = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY,
                                                  inside.c_str())) > 0) {
    result = readEntry(message, dictionary);
    if (result < 0) return result;
  }
  return result < 0 ? result : sd_bus_message_exit_container(message);
}

// If one element cannot be read, the whole array is left out: without it the others would move.
int readArray(sd_bus_message* message, const char* contents, std::optional<CFValue>& value) {
  int result = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, contents);
  if (result < 0) return result;
  CFArray array;
  bool complete = true;
  while ((result = sd_bus_message_at_end(message, 0)) == 0) {
    std::optional<CFValue> element;
    result = readValue(message, element);
    if (result < 0) return result;
    complete = complete && element;
    if (element) array.push_back(std::move(*element));
  }
  if (result < 0) return result;
  if (complete) value = CFValue(std::move(array));
  return sd_bus_message_exit_container(message);
}

int readAnyArray(sd_bus_message* message, const char* contents, std::optional<CFValue>& value) {
  const std::string_view element(contents);
  if (element == "y") return readData(message, value);
  if (!element.starts_with('{')) return readArray(message, contents, value);
  if (!element.starts_with("{s")) return sd_bus_message_skip(message, nullptr);
  CFDictionary dictionary;
  const int result = readEntries(message, element, dictionary);
  if (result >= 0) value = CFValue(std::move(dictionary));
  return result;
}

int readValue(sd_bus_message* message, std::optional<CFValue>& value) {
  char type = 0;
  const char* contents = nullptr;
  const int result = sd_bus_message_peek_type(message, &type, &contents);
  if (result <= 0) return result < 0 ? result : -EBADMSG;
  switch (type) {
    case SD_BUS_TYPE_BOOLEAN:
      return readBoolean(message, value);
    case SD_BUS_TYPE_BYTE:
      return readBasic<std::uint8_t>(message, type, value);
    case SD_BUS_TYPE_INT16:
      return readBasic<std::int16_t>(message, type, value);
    case SD_BUS_TYPE_UINT16:
      return readBasic<std::uint16_t>(message, type, value);
    case SD_BUS_TYPE_INT32:
      return readBasic<std::int32_t>(message, type, value);
    case SD_BUS_TYPE_UINT32:
      return readBasic<std::uint32_t>(message, type, value);
    case SD_BUS_TYPE_INT64:
      return readBasic<std::int64_t>(message, type, value);
    case SD_BUS_TYPE_UINT64:
      return readBasic<std::uint64_t>(message, type, value);
    case SD_BUS_TYPE_DOUBLE:
      return readBasic<double>(message, type, value);
    case SD_BUS_TYPE_STRING:
    case SD_BUS_TYPE_OBJECT_PATH:
    case SD_BUS_TYPE_SIGNATURE:
      return readBasic<const char*>(message, type, value);
    case SD_BUS_TYPE_VARIANT:
      return readVariant(message, contents, value);
    case SD_BUS_TYPE_ARRAY:
      return readAnyArray(message, contents, value);
    default:
      return sd_bus_message_skip(message, nullptr);
  }
}

}  // namespace

std::optional<CFDictionary> readDictionary(sd_bus_message* message) {
  CFDictionary dictionary;
  if (readEntries(message, "{sv}", dictionary) < 0) return std::nullopt;
  return dictionary;
}

}  // namespace device_registry
