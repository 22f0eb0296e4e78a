// SPDX-License-Identifier: MIT
// The per-interface records: channel configuration and map, and the options.
#include <cstdio>
#include <cstring>

#include "platform/log/log.h"
#include "settings/osx_asio_registry.h"

namespace {

constexpr const char* kGetOrbekSignature =
    "bool OSXAsioRegistry::getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap&, char*)";
constexpr const char* kSetOrbekSignature =
    "bool OSXAsioRegistry::setOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap&, char*)";

std::uint64_t deviceId(const char* uid) {
  std::uint64_t id;
  std::memcpy(&id, uid, sizeof id);
  return id;
}

// Keys of records that are already stored are padded with blanks, not zeros.
std::string recordKey(std::uint64_t id) {
  char key[32];
  std::snprintf(key, sizeof key, "ORBEK_%16llX", static_cast<unsigned long long>(id));
  return key;
}

}  // namespace

bool OSXAsioRegistry::getOrbekConfigAndMapping(VQ_Orbek_ConfigAndMap& record,
                                               const char* uid) const {
  platform::syslog(platform::LogPriority::kNotice, "%s\n", kGetOrbekSignature);
  const std::uint64_t id = deviceId(uid);
  if (!getBlock({reinterpret_cast<std::uint8_t*>(&record), sizeof record}, recordKey(id))) {
    platform::syslog(platform::LogPriority::kError, "%s No prefs for device %16llX",
                     kGetOrbekSignature, static_cast<unsigned long long>(id));
    return false;
  }
  return true;
}

bool OSXAsioRegistry::setOrbekConfigAndMapping(const VQ_Orbek_ConfigAndMap& record,
                                               const char* uid) {
  if (setBlock(&record, sizeof record, recordKey(deviceId(uid)))) return true;
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
    putNumber(map.inputs[i], keyOf("Orbek_InputMap", i));
    putNumber(map.outputs[i], keyOf("Orbek_OutputMap", i));
  }
  putNumber(configuration.sampleRate, "Orbek_SampleRate");
  putNumber(configuration.numInputs, "Orbek_NumInputs");
  putNumber(configuration.inputBits, "Orbek_InputBits");
  putNumber(configuration.numOutputs, "Orbek_NumOutputs");
  putNumber(configuration.outputBits, "Orbek_OutputBits");
  store();
}

void OSXAsioRegistry::loadAjExt(VqAjExtData& data) const {
  data.setDefaults();
  const auto read = [this](std::uint32_t& field, std::string_view key, const char* name) {
    if (!getUInt32Value(field, key)) return;
    platform::syslog(platform::LogPriority::kWarning, "Reading %s: %d\n", name,
                     static_cast<std::int32_t>(field));
  };
  read(data.mClockSource, kClockSource, "clock source");
  read(data.mUSB1Mode, kUSB1Mode, "mUSB1Mode");
  read(data.mDigitalOutMode, kDigitalOutMode, "mDigitalOutMode");
  read(data.mDigitalOutSelector, kDigitalOutSel, "mDigitalOutSelector");
}
