// SPDX-License-Identifier: MIT
#include "settings/osx_asio_registry.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "platform/files/files.h"
#include "platform/log/log.h"
#include "platform/preferences/preferences.h"

namespace {

constexpr const char* kSettings = "Settings";
constexpr std::string_view kVersion = "Version";
constexpr const char* kCurrentVersion = "1.0";

constexpr std::string_view kClockSource = "ClockSource";
constexpr std::string_view kUSB1Mode = "USB1Mode";
constexpr std::string_view kDigitalOutMode = "DigitalOutMode";
constexpr std::string_view kDigitalOutSel = "DigitalOutSel";

constexpr const char* kGetOrbekSignature =
    "bool OSXAsioRegistry::getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap&, char*)";
constexpr const char* kSetOrbekSignature =
    "bool OSXAsioRegistry::setOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap&, char*)";

// The bytes that are there, in pieces that end with NUL, as text: of each piece what stands before
// its first NUL.
LumString readFork(FSForkRef fork) {
  constexpr std::size_t kChunk = 1024;
  LumString text;
  char chunk[kChunk + 1];
  for (;;) {
    std::size_t count = 0;
    FSReadFork(fork, std::span(chunk, kChunk), count);
    if (count == 0 || count > kChunk) return text;
    chunk[count] = '\0';
    text += chunk;
  }
}

std::string decimal(std::uint32_t value) {
  return std::to_string(static_cast<std::int32_t>(value));
}

std::string keyOf(std::string_view name, std::uint32_t index) {
  return std::string(name) + "_" + decimal(index);
}

std::string keyOf(std::string_view name, std::uint32_t a, std::uint32_t b) {
  return keyOf(keyOf(name, a), b);
}

std::uint64_t deviceId(const char* uid) {
  std::uint64_t id;
  std::memcpy(&id, uid, sizeof id);
  return id;
}

// The digits are padded with blanks: so are the keys of records that are already stored.
std::string recordKey(std::uint64_t id) {
  char key[32];
  std::snprintf(key, sizeof key, "ORBEK_%16llX", static_cast<unsigned long long>(id));
  return key;
}

std::optional<std::int32_t> numberUnder(std::string_view key, std::string_view applicationId) {
  const auto value = CFPreferencesCopyAppValue(key, applicationId);
  const auto* text = value ? value->as<std::string>() : nullptr;
  return text ? std::optional(LumString(text->c_str()).scanInt()) : std::nullopt;
}

template <typename Number>
bool getNumber(Number& value, std::string_view key, std::string_view applicationId) {
  const auto number = numberUnder(key, applicationId);
  value = static_cast<Number>(number.value_or(0));
  return number.has_value();
}

void putNumber(std::uint32_t value, std::string_view key, std::string_view applicationId) {
  CFPreferencesSetAppValue(key, decimal(value), applicationId);
}

std::optional<CFData> dataUnder(std::string_view key, std::string_view applicationId) {
  const auto value = CFPreferencesCopyAppValue(key, applicationId);
  const auto* data = value ? value->as<CFData>() : nullptr;
  return data ? std::optional(*data) : std::nullopt;
}

bool getBlock(std::uint8_t* bytes, std::string_view key, std::string_view applicationId) {
  const auto data = dataUnder(key, applicationId);
  if (data) std::copy(data->begin(), data->end(), bytes);
  return data.has_value();
}

bool getBlock(std::span<std::uint8_t> bytes, std::string_view key, std::string_view applicationId) {
  const auto data = dataUnder(key, applicationId);
  if (data) std::copy_n(data->begin(), std::min(data->size(), bytes.size()), bytes.begin());
  return data.has_value();
}

template <typename Value>
std::span<std::uint8_t> bytesOf(Value& value) {
  return {reinterpret_cast<std::uint8_t*>(&value), sizeof value};
}

// The older file is in ISO-8859-1, the preferences are in UTF-8.
std::string utf8OfLatin1(std::string_view text) {
  std::string utf8;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80) utf8 += static_cast<char>(0xC0 | byte >> 6);
    utf8 += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
  }
  return utf8;
}

// Nothing when there is no memory for it, or nothing to copy.
std::optional<CFData> createData(const void* bytes, std::size_t size) {
  if (!bytes) return std::nullopt;
  const auto* first = static_cast<const std::uint8_t*>(bytes);
  try {
    return CFData(first, first + size);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

bool setBlock(const void* bytes, std::size_t size, std::string_view key,
              std::string_view applicationId) {
  auto data = createData(bytes, size);
  if (!data) return false;
  CFPreferencesSetAppValue(key, std::move(*data), applicationId);
  CFPreferencesAppSynchronize(applicationId);
  return true;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

}  // namespace

// --- Life cycle ---

OSXAsioRegistry::OSXAsioRegistry(const char* name) : applicationId_(DEVICE_HAL_DOMAIN) {
  if (CFPreferencesCopyAppValue(kVersion, applicationId_)) return;
  storageName_ = name;
  storageName_ += ".xml";
  LumString text;
  if (const short fork = getStorageFile(storageName_, true, false); fork != -1) {
    text = readFork(fork);
    FSCloseFork(fork);
  }
  load(text);
  getOrCreateNode(kSettings);
  convertToCFPrefs();
}

OSXAsioRegistry::OSXAsioRegistry(std::optional<std::string_view> id)
    : applicationId_(id ? std::string(*id) + ".hal" : std::string(VENDOR_HAL_DOMAIN)) {
  versionCurrent_ = CFPreferencesCopyAppValue(kVersion, applicationId_) == CFValue(kCurrentVersion);
}

OSXAsioRegistry::~OSXAsioRegistry() {
  CFPreferencesSetAppValue(kVersion, kCurrentVersion, applicationId_);
  CFPreferencesAppSynchronize(applicationId_);
}

bool OSXAsioRegistry::store() { return CFPreferencesAppSynchronize(applicationId_); }

XML::Node* OSXAsioRegistry::getSettingNode(const char*, bool) { return nullptr; }

void OSXAsioRegistry::convertToCFPrefs() {
  // All or nothing: a process that dies in between leaves the file to be taken over again.
  const PreferencesUpdate update(applicationId_);
  if (const XML::Node* settings = getNode(kSettings)) {
    for (std::int32_t i = 0; i < settings->getCountNodes(); ++i) {
      const XML::Node* element = settings->getNode(i);
      for (std::int32_t j = 0; j < element->getCountAttributes(); ++j) {
        const XML::Attribute* attribute = element->getAttribute(j);
        CFPreferencesSetAppValue(attribute->getName(), utf8OfLatin1(attribute->getValue()),
                                 applicationId_);
        CFPreferencesAppSynchronize(applicationId_);
      }
    }
  }
  CFPreferencesSetAppValue(kVersion, kCurrentVersion, applicationId_);
  CFPreferencesAppSynchronize(applicationId_);
}

// --- Numbers ---

bool OSXAsioRegistry::getSampleRate(std::uint32_t& value) const {
  return getUInt32Value(value, "SampleRate");
}

void OSXAsioRegistry::setSampleRate(std::uint32_t value) { setUInt32Value(value, "SampleRate"); }

bool OSXAsioRegistry::getMixerMode(std::int32_t& value) const {
  return getNumber(value, "MixerMode", applicationId_);
}

void OSXAsioRegistry::setMixerMode(std::int32_t value) {
  setUInt32Value(static_cast<std::uint32_t>(value), "MixerMode");
}

bool OSXAsioRegistry::getFootSwitchProtocol(std::uint32_t& value) const {
  return getUInt32Value(value, "FootSwitchProtocol");
}

void OSXAsioRegistry::setFootSwitchProtocol(std::uint32_t value) {
  setUInt32Value(value, "FootSwitchProtocol");
}

bool OSXAsioRegistry::getFootSwitchMode(std::uint32_t& value) const {
  return getUInt32Value(value, "FootSwitchMode");
}

void OSXAsioRegistry::setFootSwitchMode(std::uint32_t value) {
  setUInt32Value(value, "FootSwitchMode");
}

bool OSXAsioRegistry::getForceInternal(std::uint32_t& value) const {
  return getUInt32Value(value, "ForceInternal");
}

void OSXAsioRegistry::setForceInternal(std::uint32_t value) {
  setUInt32Value(value, kDigitalOutMode);
}

void OSXAsioRegistry::getClockSource(std::uint32_t& value) const {
  getUInt32Value(value, kClockSource);
}

void OSXAsioRegistry::setClockSource(std::uint32_t value) { setUInt32Value(value, kClockSource); }

void OSXAsioRegistry::getDigitalOutMode(std::uint32_t& value) const {
  getUInt32Value(value, kDigitalOutMode);
}

void OSXAsioRegistry::setDigitalOutMode(std::uint32_t value) {
  setUInt32Value(value, kDigitalOutMode);
}

void OSXAsioRegistry::setUSB1Mode(std::uint32_t value) { setUInt32Value(value, kUSB1Mode); }

void OSXAsioRegistry::setDigitalOutSelector(std::uint32_t value) {
  setUInt32Value(value, kDigitalOutSel);
}

bool OSXAsioRegistry::getRouting(std::uint32_t a, std::uint32_t b, std::uint32_t& value) const {
  return getUInt32Value(value, keyOf("Routing", a, b));
}

void OSXAsioRegistry::setRouting(std::uint32_t a, std::uint32_t b, std::uint32_t value) {
  setUInt32Value(value, keyOf("Routing", a, b));
}

bool OSXAsioRegistry::getWolfsonRegister(std::uint32_t a, std::uint32_t b,
                                         std::uint32_t& value) const {
  return getUInt32Value(value, keyOf("WolfsonRegister", a, b));
}

void OSXAsioRegistry::setWolfsonRegister(std::uint32_t a, std::uint32_t b, std::uint32_t value) {
  setUInt32Value(value, keyOf("WolfsonRegister", a, b));
}

// --- Blocks ---

bool OSXAsioRegistry::getRoutingMatrix(std::uint8_t* bytes) const {
  return getBlock(bytes, "RoutingMatrix", applicationId_);
}

bool OSXAsioRegistry::getRoutingMatrix(std::span<std::uint8_t> bytes) const {
  return getBlock(bytes, "RoutingMatrix", applicationId_);
}

void OSXAsioRegistry::setRoutingMatrix(const std::uint8_t* bytes) {
  setBlock(bytes, kRoutingMatrixSize, "RoutingMatrix", applicationId_);
}

bool OSXAsioRegistry::getMixerFractions(std::uint8_t* bytes) const {
  return getBlock(bytes, "MixerFractions", applicationId_);
}

bool OSXAsioRegistry::getMixerFractions(std::span<std::uint8_t> bytes) const {
  return getBlock(bytes, "MixerFractions", applicationId_);
}

void OSXAsioRegistry::setMixerFractions(const std::uint8_t* bytes) {
  setBlock(bytes, kMixerFractionsSize, "MixerFractions", applicationId_);
}

bool OSXAsioRegistry::getMixerBuffer(std::uint8_t* bytes) const {
  return getBlock(bytes, "MixerBuffer", applicationId_);
}

bool OSXAsioRegistry::getMixerBuffer(std::span<std::uint8_t> bytes) const {
  return getBlock(bytes, "MixerBuffer", applicationId_);
}

void OSXAsioRegistry::setMixerBuffer(const std::uint8_t* bytes) {
  setBlock(bytes, kMixerBufferSize, "MixerBuffer", applicationId_);
}

bool OSXAsioRegistry::getReverbBuffers(std::uint8_t* bytes) const {
  return getBlock(bytes, "ReverbBuffers", applicationId_);
}

bool OSXAsioRegistry::getReverbBuffers(std::span<std::uint8_t> bytes) const {
  return getBlock(bytes, "ReverbBuffers", applicationId_);
}

void OSXAsioRegistry::setReverbBuffers(const std::uint8_t* bytes) {
  setBlock(bytes, kReverbBuffersSize, "ReverbBuffers", applicationId_);
}

// --- Any key ---

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

void OSXAsioRegistry::setUInt32Value(std::uint32_t value, std::string_view key) {
  putNumber(value, key, applicationId_);
  CFPreferencesAppSynchronize(applicationId_);
}

void OSXAsioRegistry::setUInt16Value(std::uint16_t value, std::string_view key) {
  setUInt32Value(value, key);
}

void OSXAsioRegistry::setUInt8Value(std::uint8_t value, std::string_view key) {
  setUInt32Value(value, key);
}

void OSXAsioRegistry::setBoolValue(bool value, std::string_view key) { setUInt8Value(value, key); }

bool OSXAsioRegistry::getStringValue(std::optional<CFValue>& value, std::string_view key) const {
  value = CFPreferencesCopyAppValue(key, applicationId_);
  return true;
}

bool OSXAsioRegistry::setStringValue(std::optional<std::string_view> value, std::string_view key) {
  CFPreferencesSetAppValue(key, value ? std::optional<CFValue>(std::string(*value)) : std::nullopt,
                           applicationId_);
  return CFPreferencesAppSynchronize(applicationId_);
}

bool OSXAsioRegistry::getUInt64Value(std::uint64_t& value, std::string_view key) const {
  return getBlock(bytesOf(value), key, applicationId_);
}

void OSXAsioRegistry::setUInt64Value(std::uint64_t value, std::string_view key) {
  setBlock(&value, sizeof value, key, applicationId_);
}

// --- Records ---

bool OSXAsioRegistry::getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap& record,
                                               const char* uid) const {
  platform::syslog(platform::LogPriority::kNotice, "%s\n", kGetOrbekSignature);
  const std::uint64_t id = deviceId(uid);
  if (!getBlock(bytesOf(record), recordKey(id), applicationId_)) {
    platform::syslog(platform::LogPriority::kError, "%s No prefs for device %16llX",
                     kGetOrbekSignature, static_cast<unsigned long long>(id));
    return false;
  }
  return true;
}

bool OSXAsioRegistry::setOrbekConfigAndMapping(const VQ_Orbek_ConfigAndMap& record,
                                               const char* uid) {
  if (setBlock(&record, sizeof record, recordKey(deviceId(uid)), applicationId_)) return true;
  platform::syslog(platform::LogPriority::kError, "%s Could not create data ref\n",
                   kSetOrbekSignature);
  return false;
}

bool OSXAsioRegistry::getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap& record) const {
  const auto get = [this](std::uint32_t& field, std::string_view key, std::uint32_t ifMissing) {
    if (!getUInt32Value(field, key)) field = ifMissing;
  };
  auto& [configuration, map] = record;
  get(configuration.sampleRate, "Orbek_SampleRate", 48000);
  get(configuration.numInputs, "Orbek_NumInputs", 2);
  get(configuration.inputBits, "Orbek_InputBits", 16);
  get(configuration.numOutputs, "Orbek_NumOutputs", 2);
  get(configuration.outputBits, "Orbek_InputBits", 16);
  for (std::uint32_t i = 0; i < VQ_Orbek_ChannelMap::kEntries; ++i) {
    get(map.inputs[i], keyOf("Orbek_InputMap", i), VQ_Orbek_ChannelMap::kUnused);
    get(map.outputs[i], keyOf("Orbek_OutputMap", i), VQ_Orbek_ChannelMap::kUnused);
  }
  return true;
}

void OSXAsioRegistry::setOrbekConfigAndMapping(const VQ_Orbek_ConfigAndMap& record) {
  const auto& [configuration, map] = record;
  for (std::uint32_t i = 0; i < VQ_Orbek_ChannelMap::kEntries; ++i) {
    putNumber(map.inputs[i], keyOf("Orbek_InputMap", i), applicationId_);
    putNumber(map.outputs[i], keyOf("Orbek_OutputMap", i), applicationId_);
  }
  putNumber(configuration.sampleRate, "Orbek_SampleRate", applicationId_);
  putNumber(configuration.numInputs, "Orbek_NumInputs", applicationId_);
  putNumber(configuration.inputBits, "Orbek_InputBits", applicationId_);
  putNumber(configuration.numOutputs, "Orbek_NumOutputs", applicationId_);
  putNumber(configuration.outputBits, "Orbek_OutputBits", applicationId_);
  CFPreferencesAppSynchronize(applicationId_);
}

void OSXAsioRegistry::loadAjExt(VqAjExtData& data) const {
  constexpr auto kWarning = platform::LogPriority::kWarning;
  data.setDefaults();
  if (getUInt32Value(data.mClockSource, kClockSource)) {
    platform::syslog(kWarning, "Reading clock source: %d\n",
                     static_cast<std::int32_t>(data.mClockSource));
  }
  if (getUInt32Value(data.mUSB1Mode, kUSB1Mode)) {
    platform::syslog(kWarning, "Reading mUSB1Mode: %d\n",
                     static_cast<std::int32_t>(data.mUSB1Mode));
  }
  if (getUInt32Value(data.mDigitalOutMode, kDigitalOutMode)) {
    platform::syslog(kWarning, "Reading mDigitalOutMode: %d\n",
                     static_cast<std::int32_t>(data.mDigitalOutMode));
  }
  if (getUInt32Value(data.mDigitalOutSelector, kDigitalOutSel)) {
    platform::syslog(kWarning, "Reading mDigitalOutSelector: %d\n",
                     static_cast<std::int32_t>(data.mDigitalOutSelector));
  }
}

// --- The file of the former generation ---

short getStorageFile(const LumString& name, bool create, bool write) {
  const char* text = name.getCharPointer();
  if (!isAscii(text)) {
    platform::printOutput("Could not create path for file %s\n", text);
    return -1;
  }
  const std::int8_t permission = write ? fsRdWrPerm : fsRdPerm;
  FSForkRef fork = -1;
  FSRef folder;
  FSRef file;
  OSStatus status = FSFindFolder(kOnSystemDisk, kPreferencesFolderType, false, folder);
  if (status == noErr) status = FSMakeFSRefUnicode(folder, text, file);
  if (status != noErr) {
    platform::printOutput("getStorageFile: could not create FSRef for path %s (%d)\n", text,
                          status);
    if (status != fnfErr || !create) return -1;
    status = FSCreateFileUnicode(folder, text, file);
    if (status != noErr && status != fnfErr) {
      platform::printOutput("getStorageFile: could not create file for path %s (%d)\n", text,
                            status);
      return -1;
    }
    status = FSOpenFork(file, {}, permission, fork);
    platform::printOutput("getStorageFile: openFork returns %d\n", status);
    return fork;
  }

  std::string forkName;
  status = FSGetDataForkName(forkName);
  if (status != noErr) {
    platform::printOutput("getStorageFile: could not get data fork name %d\n", status);
    return -1;
  }
  status = FSOpenFork(file, forkName, permission, fork);
  if (status == fnfErr && create) {
    status = FSCreateFileUnicode(folder, text, file);
    if (status != noErr && status != fnfErr) {
      platform::printOutput("getStorageFile: could not create file %d\n", status);
      return -1;
    }
    FSOpenFork(file, forkName, permission, fork);
  }
  return fork;
}
