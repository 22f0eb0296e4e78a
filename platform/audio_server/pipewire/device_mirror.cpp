// SPDX-License-Identifier: MIT
#include "platform/audio_server/pipewire/device_mirror.h"

#include <algorithm>
#include <utility>

#include "platform/notices/notices.h"

namespace pipewire {

namespace {

bool containsRecord(std::span<const std::uint8_t> records, const RoutingBytes& record) {
  for (; records.size() >= record.size(); records = records.subspan(record.size())) {
    if (std::ranges::equal(records.first(record.size()), record)) return true;
  }
  return false;
}

}  // namespace

void DeviceMirror::setRunning(std::vector<Device> devices) {
  const std::lock_guard lock(mutex_);
  known_ = true;
  running_ = true;
  devices_ = std::move(devices);
  noteDevices();
  listChanged();
  changed_.notify_all();
}

void DeviceMirror::setStopped() {
  const std::lock_guard lock(mutex_);
  known_ = true;
  if (std::exchange(running_, false)) listChanged();
  devices_.clear();
  noteDevices();
  failWrites(std::nullopt);
}

void DeviceMirror::setAbsent() {
  const std::lock_guard lock(mutex_);
  known_ = true;
  noteDevices();
  changed_.notify_all();
}

void DeviceMirror::add(Device device) {
  const std::lock_guard lock(mutex_);
  devices_.push_back(std::move(device));
  noteDevices();
  listChanged();
}

void DeviceMirror::remove(AudioObjectID device) {
  const std::lock_guard lock(mutex_);
  if (std::erase_if(devices_, [&](const Device& d) { return d.id == device; }) > 0) listChanged();
  noteDevices();
  failWrites(device);
}

void DeviceMirror::setName(AudioObjectID device, std::string name) {
  const std::lock_guard lock(mutex_);
  const auto found = std::ranges::find(devices_, device, &Device::id);
  if (found != devices_.end()) found->name = std::move(name);
}

void DeviceMirror::setRoutings(AudioObjectID device, std::span<const std::uint8_t> records) {
  const std::lock_guard lock(mutex_);
  const auto found = std::ranges::find(devices_, device, &Device::id);
  if (found == devices_.end()) return;
  // The driver sets the property again after each write, also after one that it refuses. Nothing
  // else sets it to what it was: after another program's write or a setting of the driver's own, it
  // has a new value.
  const bool isUnchanged = found->routings && std::ranges::equal(*found->routings, records);
  found->routings.emplace(records.begin(), records.end());
  noteDevices();
  if (unconfirmed_ && unconfirmed_->device == device) {
    if (containsRecord(records, unconfirmed_->record)) {
      noteResult(Write::State::kConfirmed, *unconfirmed_);
    } else if (isUnchanged) {
      noteResult(Write::State::kFailed, *unconfirmed_);
    }
  }
  for (Write* write : writes_) {
    if (write->device != device || write->state != Write::State::kSent) continue;
    if (containsRecord(records, write->record)) {
      write->state = Write::State::kConfirmed;
    } else if (isUnchanged) {
      write->state = Write::State::kFailed;
    }
  }
  changed_.notify_all();
}

std::optional<std::vector<AudioObjectID>> DeviceMirror::ids() {
  const std::lock_guard lock(mutex_);
  read_ = true;
  changedSinceRead_ = false;
  if (!running_) return std::nullopt;
  std::vector<AudioObjectID> result;
  for (const Device& device : devices_) result.push_back(device.id);
  return result;
}

bool DeviceMirror::changedSinceRead() const {
  const std::lock_guard lock(mutex_);
  return changedSinceRead_;
}

std::optional<Device> DeviceMirror::find(AudioObjectID device) const {
  const std::lock_guard lock(mutex_);
  const auto found = std::ranges::find(devices_, device, &Device::id);
  if (found == devices_.end()) return std::nullopt;
  return *found;
}

void DeviceMirror::waitUntilKnown(Deadline deadline) {
  std::unique_lock lock(mutex_);
  changed_.wait_until(lock, deadline, [&] { return known_; });
}

void DeviceMirror::queueWrite(Write& write) {
  const std::lock_guard lock(mutex_);
  writes_.push_back(&write);
}

bool DeviceMirror::finishWrite(Write& write, Deadline deadline) {
  std::unique_lock lock(mutex_);
  const auto start = Deadline::clock::now();
  if (start < hurriedUntil_) {
    deadline = std::min(deadline, start + std::chrono::milliseconds(kAudioServerHurriedWriteMs));
  }
  const bool answered = changed_.wait_until(lock, deadline, [&] {
    return write.state == Write::State::kConfirmed || write.state == Write::State::kFailed;
  });
  if (!answered) {
    hurriedUntil_ = Deadline::clock::now() + std::chrono::milliseconds(kAudioServerCallLimitMs);
  } else if (write.state == Write::State::kConfirmed) {
    hurriedUntil_ = {};
  }
  std::erase(writes_, &write);
  noteResult(write.state, {write.device, write.record});
  return write.state == Write::State::kConfirmed;
}

std::vector<DeviceMirror::Request> DeviceMirror::takeQueuedWrites() {
  const std::lock_guard lock(mutex_);
  std::vector<Request> requests;
  for (Write* write : writes_) {
    if (write->state != Write::State::kQueued) continue;
    write->state = Write::State::kSent;
    requests.push_back({write->device, write->record});
  }
  return requests;
}

// The caller holds mutex_, so that notices are set in the order of the events.
void DeviceMirror::noteDevices() {
  setNotice(Notice::kAudioDeviceAbsent,
            std::ranges::none_of(devices_, [](const Device& d) { return d.routings.has_value(); }));
}

// The caller holds mutex_. A write that failed because its device left says nothing of the
// interface.
void DeviceMirror::noteResult(Write::State state, Request write) {
  const bool isAnswered = state == Write::State::kConfirmed || state == Write::State::kFailed;
  unconfirmed_ = isAnswered ? std::nullopt : std::optional(write);
  setNotice(Notice::kRoutingUnconfirmed, !isAnswered);
  if (isAnswered) {
    setNotice(Notice::kChoiceRefused,
              state == Write::State::kFailed &&
                  std::ranges::find(devices_, write.device, &Device::id) != devices_.end());
  }
}

// The caller holds mutex_.
void DeviceMirror::failWrites(std::optional<AudioObjectID> device) {
  for (Write* write : writes_) {
    if (!device || write->device == *device) write->state = Write::State::kFailed;
  }
  changed_.notify_all();
}

}  // namespace pipewire
