// SPDX-License-Identifier: MIT
#include "io/audio_device.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/log/log.h"
#include "protocol/options.h"

std::atomic<AudioObjectID> _halDevice{0};
char _halDeviceName[kHalDeviceNameRoom] = {};

namespace {

using platform::LogPriority;

// Maximum size of a routing property. A driver may report any size: writing a larger one fails,
// reading it is cut.
constexpr std::size_t kRoutingDataRoom = 4096;

// A routing record followed by zeros, for drivers that report a larger size than the record's.
struct RoutingData {
  std::array<std::uint8_t, kRoutingDataRoom> bytes{};

  explicit RoutingData(const RoutingRecord& record) {
    std::memcpy(bytes.data(), &record, sizeof record);
  }
  std::int32_t value() const {
    RoutingRecord record;
    std::memcpy(&record, bytes.data(), sizeof record);
    return record.value;
  }
};

// The property's size as the driver reports it; the record's size if the driver reports none.
std::uint32_t routingDataSize(AudioObjectID device) {
  std::uint32_t size = sizeof(RoutingRecord);
  AudioObjectGetPropertyDataSize(device, kRoutingAddress, &size);
  return size;
}

// A status is a four-character code; its bytes are printed in memory order.
void printFailure(OSStatus status) {
  char text[sizeof status + 1] = {};
  std::memcpy(text, &status, sizeof status);
  platform::printOutput("failed setRouting: [%4.4s]\n", text);
}

struct DeviceName {
  std::array<char, kHalDeviceNameRoom> text{};

  explicit DeviceName(AudioObjectID device) {
    std::uint32_t size = kHalDeviceNameRoom;
    std::array<std::uint8_t, kHalDeviceNameRoom> bytes{};
    AudioObjectGetPropertyData(device, kDeviceNameAddress, &size, bytes);
    std::memcpy(text.data(), bytes.data(), text.size() - 1);
  }
  bool operator==(std::string_view other) const { return text.data() == other; }
};

// Guards _halDeviceName, and is held from a look-up to the store of its result in _halDevice.
std::mutex halMutex;

// A look-up's result, and what is logged of it: not before halMutex is free.
struct FoundDevice {
  AudioObjectID id = 0;
  OSStatus sizeStatus = kAudioHardwareNoError;  // of the device list's size
  std::optional<std::size_t> listed;            // devices to examine; nullopt without a list
  std::string name;
};

FoundDevice lookUp(const char* name) {
  FoundDevice found;
  std::uint32_t size = 0;
  found.sizeStatus =
      AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, kDeviceListAddress, &size);
  if (found.sizeStatus != kAudioHardwareNoError) return found;

  std::array<std::uint8_t, kExaminedDevices * sizeof(AudioObjectID)> bytes{};
  std::size_t count = std::min(size / sizeof(AudioObjectID), kExaminedDevices);
  size = static_cast<std::uint32_t>(count * sizeof(AudioObjectID));
  if (AudioObjectGetPropertyData(kAudioObjectSystemObject, kDeviceListAddress, &size, bytes) !=
      kAudioHardwareNoError) {
    return found;
  }
  found.listed = count;
  // Devices may have left after the size was read.
  count = std::min(count, size / sizeof(AudioObjectID));

  const std::string bitAccurateName = std::string(name) + " (Bit Accurate)";
  for (std::size_t i = 0; i < count; ++i) {
    AudioObjectID device = 0;
    std::memcpy(&device, bytes.data() + i * sizeof device, sizeof device);
    const DeviceName deviceName(device);
    if (!(deviceName == name) && !(deviceName == bitAccurateName)) continue;
    found.id = device;
    found.name = deviceName.text.data();
    return found;
  }
  return found;
}

void log(const FoundDevice& found) {
  if (found.sizeStatus != kAudioHardwareNoError) {
    platform::printError(
        "AudioObjectGetPropertyDataSize (kAudioHardwarePropertyDevices) failed: %i\n",
        found.sizeStatus);
  }
  if (!found.listed) return;
  platform::syslog(LogPriority::kWarning, "Found %d devices\n", static_cast<int>(*found.listed));
  if (found.id == 0) return;
  platform::syslog(LogPriority::kWarning, "Found dev %d named %s\n", static_cast<int>(found.id),
                   found.name.c_str());
}

}  // namespace

AudioObjectID findHalDevice() {
  FoundDevice found;
  {
    const std::lock_guard lock(halMutex);
    found = lookUp(_halDeviceName);
    _halDevice = found.id;
  }
  log(found);
  return found.id;
}

std::string halDeviceName() {
  const std::lock_guard lock(halMutex);
  return _halDeviceName;
}

void setHalDeviceName(const char* name) {
  const std::lock_guard lock(halMutex);
  constexpr std::size_t kMaxLength = kHalDeviceNameRoom - 1;
  if (std::string_view(name).substr(0, kMaxLength) == _halDeviceName) return;
  // strncpy fills the rest with NUL; the last byte is outside its range and stays NUL.
  std::strncpy(_halDeviceName, name, kMaxLength);
}

AudioObjectID getHalDevice(const char* name) {
  const FoundDevice found = lookUp(name);
  log(found);
  return found.id;
}

bool setRouting(bool input, int pair, int value) {
  const AudioObjectID device = _halDevice;
  if (device == 0 || !AudioObjectHasProperty(device, kRoutingAddress)) return false;

  const RoutingData data({input ? 1u : 0u, pair, value});
  const std::uint32_t size = routingDataSize(device);
  const OSStatus status =
      size > data.bytes.size()
          ? kAudioHardwareBadPropertySizeError
          : AudioObjectSetPropertyData(device, kRoutingAddress, std::span(data.bytes).first(size));
  if (status == kAudioHardwareNoError) return true;
  printFailure(status);
  return false;
}

int getRouting(bool input, int pair) {
  const AudioObjectID device = _halDevice;
  if (device == 0) {
    platform::printOutput("Audio device not initialized\n");
    return -1;
  }
  if (!AudioObjectHasProperty(device, kRoutingAddress)) return -1;

  RoutingData data({input ? 1u : 0u, pair, pair});
  std::uint32_t size = std::min<std::uint32_t>(routingDataSize(device), kRoutingDataRoom);
  const OSStatus status = AudioObjectGetPropertyData(device, kRoutingAddress, &size, data.bytes);
  if (status == kAudioHardwareNoError) return data.value();
  printFailure(status);
  return 0;
}

void AudioPerformance(std::int32_t /*value*/) {}
