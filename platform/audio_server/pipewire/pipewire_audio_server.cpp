// SPDX-License-Identifier: MIT
// The audio server seam on PipeWire. Reads are answered from the mirror of the server's devices and
// do not wait once the first device list has arrived; a write waits for its device.
#include <algorithm>
#include <chrono>
#include <cstring>

#include "platform/audio_server/audio_server.h"
#include "platform/audio_server/pipewire/client.h"
#include "platform/driver_waits/driver_waits.h"
#include "platform/notices/notices.h"

namespace {

using pipewire::Deadline;
using pipewire::Device;
using pipewire::RoutingBytes;

// The first operation starts its thread; its destructor stops it when the program exits.
pipewire::Client client;

Deadline callDeadline() {
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(kAudioServerCallLimitMs);
}

enum class Property { kDeviceList, kName, kRouting };

// The property that a call names, and the data to answer with.
struct Lookup {
  OSStatus status = kAudioHardwareNoError;
  Property property{};
  std::vector<AudioObjectID> ids{};  // for kDeviceList
  Device device{};                   // for kName and kRouting

  std::size_t size() const {
    switch (property) {
      case Property::kDeviceList:
        return ids.size() * sizeof(AudioObjectID);
      case Property::kName:
        return device.name.size() + 1;
      case Property::kRouting:
        return sizeof(RoutingRecord);
    }
    return 0;
  }
};

Lookup lookUp(AudioObjectID object, const AudioObjectPropertyAddress& address, Deadline deadline) {
  pipewire::DeviceMirror& devices = client.devices(deadline);
  if (object == kAudioObjectSystemObject) {
    if (address != kDeviceListAddress) return {kAudioHardwareUnknownPropertyError};
    auto ids = devices.ids();
    if (!ids) return {kAudioHardwareNotRunningError};
    return {kAudioHardwareNoError, Property::kDeviceList, std::move(*ids)};
  }
  auto device = devices.find(object);
  if (!device) return {kAudioHardwareBadObjectError};
  if (address == kDeviceNameAddress) {
    return {kAudioHardwareNoError, Property::kName, {}, std::move(*device)};
  }
  if (address == kRoutingAddress && device->routings) {
    return {kAudioHardwareNoError, Property::kRouting, {}, std::move(*device)};
  }
  return {kAudioHardwareUnknownPropertyError};
}

// Reads the record whose first kRoutingNameSize bytes equal those of `data`.
OSStatus readRouting(std::span<const std::uint8_t> records, std::uint32_t* size,
                     std::span<std::uint8_t> data) {
  if (data.size() < kRoutingNameSize) return kAudioHardwareBadPropertySizeError;
  for (; records.size() >= sizeof(RoutingRecord);
       records = records.subspan(sizeof(RoutingRecord))) {
    if (!std::ranges::equal(records.first(kRoutingNameSize), data.first(kRoutingNameSize))) {
      continue;
    }
    *size = std::min<std::uint32_t>(*size, sizeof(RoutingRecord));
    std::ranges::copy(records.first(*size), data.begin());
    return kAudioHardwareNoError;
  }
  return kAudioHardwareUnspecifiedError;
}

void readIds(std::span<const AudioObjectID> ids, std::uint32_t* size,
             std::span<std::uint8_t> data) {
  const std::size_t count = std::min(*size / sizeof(AudioObjectID), ids.size());
  *size = static_cast<std::uint32_t>(count * sizeof(AudioObjectID));
  if (count > 0) std::memcpy(data.data(), ids.data(), *size);
}

void readText(const std::string& text, std::uint32_t* size, std::span<std::uint8_t> data) {
  *size = static_cast<std::uint32_t>(std::min<std::size_t>(*size, text.size() + 1));
  if (*size == 0) return;
  std::memcpy(data.data(), text.c_str(), *size);
  data[*size - 1] = 0;
}

}  // namespace

bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
  // The system object has the device list also while the server is not running.
  if (object == kAudioObjectSystemObject) return address == kDeviceListAddress;
  return lookUp(object, address, callDeadline()).status == kAudioHardwareNoError;
}

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        std::uint32_t* size) {
  const Lookup found = lookUp(object, address, callDeadline());
  if (found.status == kAudioHardwareNoError) *size = static_cast<std::uint32_t>(found.size());
  return found.status;
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    std::uint32_t* size, std::span<std::uint8_t> data) {
  if (*size > data.size()) return kAudioHardwareBadPropertySizeError;
  const Lookup found = lookUp(object, address, callDeadline());
  if (found.status != kAudioHardwareNoError) return found.status;
  switch (found.property) {
    case Property::kDeviceList:
      readIds(found.ids, size, data);
      break;
    case Property::kName:
      readText(found.device.name, size, data);
      break;
    case Property::kRouting:
      return readRouting(*found.device.routings, size, data);
  }
  return kAudioHardwareNoError;
}

OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    std::span<const std::uint8_t> data) {
  // The notification thread would wait for itself.
  if (client.isNotificationThread()) return kAudioHardwareUnspecifiedError;
  const DriverWaits::Call wait(driverWaits(), kAudioServerCallLimitMs);
  const Deadline deadline = DriverWaits::Clock::now() + std::chrono::milliseconds(wait.limitMs());
  const Lookup found = lookUp(object, address, deadline);
  if (found.status != kAudioHardwareNoError) return found.status;
  if (found.property != Property::kRouting) return kAudioHardwareUnspecifiedError;
  RoutingBytes record;
  if (data.size() != record.size()) return kAudioHardwareBadPropertySizeError;
  std::ranges::copy(data, record.begin());
  if (wait.limitMs() == 0) {
    setNotice(Notice::kRoutingUnconfirmed, true);
    return kAudioHardwareUnspecifiedError;
  }
  return client.write(object, record, deadline) ? kAudioHardwareNoError
                                                : kAudioHardwareUnspecifiedError;
}

OSStatus AudioObjectAddPropertyListener(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        AudioObjectPropertyListenerProc proc, void* clientData) {
  if (object != kAudioObjectSystemObject || address != kDeviceListAddress) {
    return kAudioHardwareUnknownPropertyError;
  }
  // Wait for the first device list before adding the listener: its arrival is not a change.
  pipewire::DeviceMirror& devices = client.devices(callDeadline());
  const bool first = client.listeners().add(object, address, proc, clientData);
  if (first && devices.changedSinceRead()) client.notifyListeners();
  return kAudioHardwareNoError;
}

OSStatus AudioObjectRemovePropertyListener(AudioObjectID object,
                                           const AudioObjectPropertyAddress& address,
                                           AudioObjectPropertyListenerProc proc, void* clientData) {
  client.listeners().remove(object, address, proc, clientData);
  return kAudioHardwareNoError;
}
