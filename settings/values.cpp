// SPDX-License-Identifier: MIT
// Single keys: numbers as decimal text, blocks as data, and the version that marks an import.
#include <algorithm>
#include <new>
#include <utility>

#include "platform/preferences/preferences.h"
#include "settings/osx_asio_registry.h"

namespace {

std::string decimal(std::uint32_t value) {
  return std::to_string(static_cast<std::int32_t>(value));
}

template <typename Number>
bool getNumber(Number& value, std::string_view key, std::string_view applicationId) {
  const auto stored = CFPreferencesCopyAppValue(key, applicationId);
  const auto* text = stored ? stored->as<std::string>() : nullptr;
  value = static_cast<Number>(text ? LumString(text->c_str()).scanInt() : 0);
  return text != nullptr;
}

std::optional<CFData> dataUnder(std::string_view key, std::string_view applicationId) {
  const auto value = CFPreferencesCopyAppValue(key, applicationId);
  const auto* data = value ? value->as<CFData>() : nullptr;
  return data ? std::optional(*data) : std::nullopt;
}

// nullopt when `bytes` is null or there is no memory for the copy.
std::optional<CFData> createData(const void* bytes, std::size_t size) {
  if (!bytes) return std::nullopt;
  const auto* first = static_cast<const std::uint8_t*>(bytes);
  try {
    return CFData(first, first + size);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace

// --- Life cycle ---

OSXAsioRegistry::OSXAsioRegistry(std::optional<std::string_view> id)
    : applicationId_(id ? std::string(*id) + ".hal" : std::string(VENDOR_HAL_DOMAIN)) {
  versionCurrent_ =
      CFPreferencesCopyAppValue(kVersion, applicationId_) == CFValue(kSettingsVersion);
}

OSXAsioRegistry::~OSXAsioRegistry() { storeVersion(); }

void OSXAsioRegistry::storeVersion() { setStringValue(kSettingsVersion, kVersion); }

bool OSXAsioRegistry::store() { return CFPreferencesAppSynchronize(applicationId_); }

// --- Numbers and texts ---

std::string OSXAsioRegistry::keyOf(std::string_view name, std::uint32_t index) {
  return std::string(name) + "_" + decimal(index);
}

bool OSXAsioRegistry::getUInt32Value(std::uint32_t& value, std::string_view key) const {
  return getNumber(value, key, applicationId_);
}

bool OSXAsioRegistry::getUInt16Value(std::uint16_t& value, std::string_view key) const {
  return getNumber(value, key, applicationId_);
}

bool OSXAsioRegistry::getUInt8Value(std::uint8_t& value, std::string_view key) const {
  return getNumber(value, key, applicationId_);
}

bool OSXAsioRegistry::getBoolValue(bool& value, std::string_view key) const {
  return getNumber(value, key, applicationId_);
}

bool OSXAsioRegistry::getMixerMode(std::int32_t& value) const {
  return getNumber(value, "MixerMode", applicationId_);
}

void OSXAsioRegistry::putNumber(std::uint32_t value, std::string_view key) {
  CFPreferencesSetAppValue(key, decimal(value), applicationId_);
}

void OSXAsioRegistry::setUInt32Value(std::uint32_t value, std::string_view key) {
  setStringValue(decimal(value), key);
}

void OSXAsioRegistry::setMixerMode(std::int32_t value) {
  setUInt32Value(static_cast<std::uint32_t>(value), "MixerMode");
}

bool OSXAsioRegistry::getStringValue(std::optional<CFValue>& value, std::string_view key) const {
  value = CFPreferencesCopyAppValue(key, applicationId_);
  return true;
}

bool OSXAsioRegistry::setStringValue(std::optional<std::string_view> value, std::string_view key) {
  CFPreferencesSetAppValue(key, value ? std::optional<CFValue>(std::string(*value)) : std::nullopt,
                           applicationId_);
  return store();
}

// --- Blocks ---

bool OSXAsioRegistry::getBlock(std::uint8_t* bytes, std::string_view key) const {
  const auto data = dataUnder(key, applicationId_);
  if (data) std::copy(data->begin(), data->end(), bytes);
  return data.has_value();
}

bool OSXAsioRegistry::getBlock(std::span<std::uint8_t> bytes, std::string_view key) const {
  const auto data = dataUnder(key, applicationId_);
  if (data) std::copy_n(data->begin(), std::min(data->size(), bytes.size()), bytes.begin());
  return data.has_value();
}

bool OSXAsioRegistry::setBlock(const void* bytes, std::size_t size, std::string_view key) {
  auto data = createData(bytes, size);
  if (!data) return false;
  CFPreferencesSetAppValue(key, std::move(*data), applicationId_);
  store();
  return true;
}

bool OSXAsioRegistry::getUInt64Value(std::uint64_t& value, std::string_view key) const {
  return getBlock({reinterpret_cast<std::uint8_t*>(&value), sizeof value}, key);
}
