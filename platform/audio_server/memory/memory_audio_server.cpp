// SPDX-License-Identifier: MIT
#include "platform/audio_server/memory/memory_audio_server.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "platform/audio_server/listener_list.h"

namespace {

using memory_audio_server::Call;
using memory_audio_server::Operation;
using memory_audio_server::RoutingProperty;

constexpr AudioObjectID kFirstDevice = 40;

struct Device {
  AudioObjectID id;
  std::string name;
  std::unique_ptr<RoutingProperty> routing;  // null without the property
};

struct Failure {
  Operation operation;
  AudioObjectID object;
  std::uint32_t selector;
  OSStatus status;
  int count;
};

struct State {
  std::vector<Device> devices;
  AudioObjectID nextId = kFirstDevice;
  bool running = true;
  std::vector<Failure> failures;
  std::vector<Call> calls;
  int pendingNotifications = 0;
};

std::mutex mutex;  // guards state and listeners; not held while listeners run
State state;
std::shared_ptr<ListenerList> listeners = std::make_shared<ListenerList>();

Device* findDevice(AudioObjectID id) {
  if (!state.running) return nullptr;
  const auto found = std::ranges::find(state.devices, id, &Device::id);
  return found == state.devices.end() ? nullptr : &*found;
}

std::optional<OSStatus> scriptedFailure(Operation operation, AudioObjectID object,
                                        std::uint32_t selector) {
  for (Failure& failure : state.failures) {
    if (failure.count == 0 || failure.operation != operation || failure.object != object ||
        failure.selector != selector) {
      continue;
    }
    --failure.count;
    return failure.status;
  }
  return std::nullopt;
}

// A property that was found: its bytes, or the driver's routing property.
struct Property {
  OSStatus status = kAudioHardwareNoError;
  std::vector<std::uint8_t> bytes;
  std::size_t unit = 1;  // reads are cut to a multiple of it
  bool isText = false;   // reads end with a NUL
  RoutingProperty* routing = nullptr;
};

Property deviceListProperty() {
  Property property;
  if (!state.running) {
    property.status = kAudioHardwareNotRunningError;
    return property;
  }
  property.unit = sizeof(AudioObjectID);
  property.bytes.resize(state.devices.size() * sizeof(AudioObjectID));
  for (std::size_t i = 0; i < state.devices.size(); ++i) {
    std::memcpy(property.bytes.data() + i * sizeof(AudioObjectID), &state.devices[i].id,
                sizeof(AudioObjectID));
  }
  return property;
}

Property findProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
  const bool global = address.mScope == kAudioObjectPropertyScopeGlobal &&
                      address.mElement == kAudioObjectPropertyElementMaster;
  Property property;
  property.status = kAudioHardwareUnknownPropertyError;
  if (object == kAudioObjectSystemObject) {
    return address == kDeviceListAddress ? deviceListProperty() : property;
  }
  const Device* device = findDevice(object);
  if (!device) {
    property.status = kAudioHardwareBadObjectError;
  } else if (global && address.mSelector == kAudioDevicePropertyDeviceName) {
    property.status = kAudioHardwareNoError;
    property.isText = true;
    property.bytes.assign(device->name.begin(), device->name.end());
    property.bytes.push_back(0);
  } else if (global && address.mSelector == memory_audio_server::kRoutingSelector &&
             device->routing) {
    property.status = kAudioHardwareNoError;
    property.routing = device->routing.get();
  }
  return property;
}

RoutingRecord* findRecord(RoutingProperty& routing, std::span<const std::uint8_t> request) {
  RoutingRecord wanted{};
  if (request.size() < kRoutingNameSize) return nullptr;
  std::memcpy(&wanted, request.data(), kRoutingNameSize);
  const auto found = std::ranges::find_if(routing.records, [&](const RoutingRecord& record) {
    return record.input == wanted.input && record.pair == wanted.pair;
  });
  return found == routing.records.end() ? nullptr : &*found;
}

OSStatus readRouting(RoutingProperty& routing, std::uint32_t* size, std::span<std::uint8_t> data) {
  if (routing.readStatus != kAudioHardwareNoError) return routing.readStatus;
  const RoutingRecord* record = findRecord(routing, data);
  if (!record) return kAudioHardwareUnspecifiedError;
  std::vector<std::uint8_t> answer(std::max<std::size_t>(routing.reportedSize, sizeof *record),
                                   memory_audio_server::kFillByte);
  std::memcpy(answer.data(), record, sizeof *record);
  *size = std::min(*size, routing.reportedSize);
  std::copy_n(answer.begin(), *size, data.begin());
  return kAudioHardwareNoError;
}

OSStatus writeRouting(RoutingProperty& routing, std::span<const std::uint8_t> data) {
  if (routing.writeStatus != kAudioHardwareNoError) return routing.writeStatus;
  if (data.size() != routing.reportedSize) return kAudioHardwareBadPropertySizeError;
  if (data.size() < sizeof(RoutingRecord)) return kAudioHardwareNoError;
  RoutingRecord* record = findRecord(routing, data);
  if (!record) return kAudioHardwareUnspecifiedError;
  std::memcpy(record, data.data(), sizeof *record);
  return kAudioHardwareNoError;
}

void readBytes(const Property& property, std::uint32_t* size, std::span<std::uint8_t> data) {
  std::size_t length = std::min<std::size_t>(*size, property.bytes.size());
  length -= length % property.unit;
  std::copy_n(property.bytes.begin(), length, data.begin());
  if (property.isText && length > 0) data[length - 1] = 0;
  *size = static_cast<std::uint32_t>(length);
}

void record(Operation operation, AudioObjectID object, const AudioObjectPropertyAddress& address,
            std::uint32_t size = 0, std::span<const std::uint8_t> data = {}) {
  state.calls.push_back({operation, object, address.mSelector, size, {data.begin(), data.end()}});
}

int takePendingNotifications() {
  const std::lock_guard lock(mutex);
  return std::exchange(state.pendingNotifications, 0);
}

std::shared_ptr<ListenerList> currentListeners() {
  const std::lock_guard lock(mutex);
  return listeners;
}

}  // namespace

namespace memory_audio_server {

std::vector<RoutingRecord> defaultRecords() {
  return {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 1, 0}, {1, 2, 0}};
}

AudioObjectID addDevice(std::string name) {
  const std::lock_guard lock(mutex);
  state.devices.push_back({state.nextId, std::move(name), nullptr});
  if (state.running) ++state.pendingNotifications;
  return state.nextId++;
}

AudioObjectID addDevice(std::string name, RoutingProperty routing) {
  const AudioObjectID device = addDevice(std::move(name));
  const std::lock_guard lock(mutex);
  state.devices.back().routing = std::make_unique<RoutingProperty>(std::move(routing));
  return device;
}

void removeDevice(AudioObjectID device) {
  const std::lock_guard lock(mutex);
  const auto removed =
      std::erase_if(state.devices, [&](const Device& d) { return d.id == device; });
  if (state.running && removed > 0) ++state.pendingNotifications;
}

RoutingProperty* routingProperty(AudioObjectID device) {
  const std::lock_guard lock(mutex);
  const auto found = std::ranges::find(state.devices, device, &Device::id);
  return found == state.devices.end() ? nullptr : found->routing.get();
}

void stopServer() {
  const std::lock_guard lock(mutex);
  if (std::exchange(state.running, false)) ++state.pendingNotifications;
}

void startServer() {
  const std::lock_guard lock(mutex);
  if (!std::exchange(state.running, true)) ++state.pendingNotifications;
}

void failNext(Operation operation, AudioObjectID object, std::uint32_t selector, OSStatus status,
              int count) {
  const std::lock_guard lock(mutex);
  state.failures.push_back({operation, object, selector, status, count});
}

void deliverNotificationsHere() {
  const std::shared_ptr<ListenerList> list = currentListeners();
  for (int left = takePendingNotifications(); left > 0; --left) {
    list->call(kAudioObjectSystemObject, kDeviceListAddress);
  }
}

void deliverNotifications() { std::thread(deliverNotificationsHere).join(); }

std::vector<Call> calls() {
  const std::lock_guard lock(mutex);
  return state.calls;
}

void reset() {
  const std::lock_guard lock(mutex);
  state = State{};
  listeners = std::make_shared<ListenerList>();
}

}  // namespace memory_audio_server

bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
  const std::lock_guard lock(mutex);
  record(Operation::kHasProperty, object, address);
  // The system object has the device list also while the server is stopped.
  if (object == kAudioObjectSystemObject) return address == kDeviceListAddress;
  return findProperty(object, address).status == kAudioHardwareNoError;
}

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        std::uint32_t* size) {
  const std::lock_guard lock(mutex);
  record(Operation::kGetSize, object, address);
  if (const auto failure = scriptedFailure(Operation::kGetSize, object, address.mSelector)) {
    return *failure;
  }
  const Property property = findProperty(object, address);
  if (property.status != kAudioHardwareNoError) return property.status;
  if (!property.routing) {
    *size = static_cast<std::uint32_t>(property.bytes.size());
    return kAudioHardwareNoError;
  }
  if (property.routing->sizeStatus == kAudioHardwareNoError) {
    *size = property.routing->reportedSize;
  }
  return property.routing->sizeStatus;
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    std::uint32_t* size, std::span<std::uint8_t> data) {
  const std::lock_guard lock(mutex);
  record(Operation::kGetData, object, address, *size, data);
  if (const auto failure = scriptedFailure(Operation::kGetData, object, address.mSelector)) {
    return *failure;
  }
  if (*size > data.size()) return kAudioHardwareBadPropertySizeError;
  const Property property = findProperty(object, address);
  if (property.status != kAudioHardwareNoError) return property.status;
  if (property.routing) return readRouting(*property.routing, size, data);
  readBytes(property, size, data);
  return kAudioHardwareNoError;
}

OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    std::span<const std::uint8_t> data) {
  const std::lock_guard lock(mutex);
  record(Operation::kSetData, object, address, static_cast<std::uint32_t>(data.size()), data);
  if (const auto failure = scriptedFailure(Operation::kSetData, object, address.mSelector)) {
    return *failure;
  }
  const Property property = findProperty(object, address);
  if (property.status != kAudioHardwareNoError) return property.status;
  if (!property.routing) return kAudioHardwareUnspecifiedError;
  return writeRouting(*property.routing, data);
}

OSStatus AudioObjectAddPropertyListener(AudioObjectID object,
                                        const AudioObjectPropertyAddress& address,
                                        AudioObjectPropertyListenerProc proc, void* clientData) {
  const std::lock_guard lock(mutex);
  record(Operation::kAddListener, object, address);
  if (object != kAudioObjectSystemObject || address != kDeviceListAddress) {
    return kAudioHardwareUnknownPropertyError;
  }
  listeners->add(object, address, proc, clientData);
  return kAudioHardwareNoError;
}

OSStatus AudioObjectRemovePropertyListener(AudioObjectID object,
                                           const AudioObjectPropertyAddress& address,
                                           AudioObjectPropertyListenerProc proc, void* clientData) {
  {
    const std::lock_guard lock(mutex);
    record(Operation::kRemoveListener, object, address);
  }
  // Not under the lock: the listener being waited for may read properties.
  currentListeners()->remove(object, address, proc, clientData);
  return kAudioHardwareNoError;
}
