// SPDX-License-Identifier: MIT
// A copy of the server's audio devices. The notification thread updates it; any thread reads it.
// Only waitUntilKnown() and finishWrite() wait for the server.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/audio_server/audio_server.h"
#include "protocol/options.h"

namespace pipewire {

using Deadline = std::chrono::steady_clock::time_point;

// A RoutingRecord as its bytes.
using RoutingBytes = std::array<std::uint8_t, sizeof(RoutingRecord)>;

struct Device {
  AudioObjectID id;
  std::string name;
  // The routing property's RoutingRecords, one after the other; nullopt when the device does not
  // have the property.
  std::optional<std::vector<std::uint8_t>> routings;
};

class DeviceMirror {
 public:
  // For the notification thread. The server is running from its first complete device list until
  // the connection to it is lost, which removes all devices.
  void setRunning(std::vector<Device> devices);
  void setStopped();
  void add(Device device);
  void remove(AudioObjectID device);
  void setName(AudioObjectID device, std::string name);
  // Stores the device's routing records and confirms the sent writes that they contain. Records
  // that have not changed mean that the driver refused the others.
  void setRoutings(AudioObjectID device, std::span<const std::uint8_t> records);
  // The first attempt to connect found no server.
  void setAbsent();

  // The devices in order of appearance; nullopt while the server is not running.
  std::optional<std::vector<AudioObjectID>> ids();
  // Whether the device list has changed since the last call of ids(); false before the first call.
  bool changedSinceRead() const;
  std::optional<Device> find(AudioObjectID device) const;

  // Waits until the server is known to be running or absent, or until the deadline.
  void waitUntilKnown(Deadline deadline);

  // A write that waits for its confirmation. The caller owns it from queueWrite() until
  // finishWrite() returns.
  struct Write {
    AudioObjectID device;
    RoutingBytes record;
    enum class State { kQueued, kSent, kConfirmed, kFailed } state = State::kQueued;
  };
  void queueWrite(Write& write);
  // Waits until the device's routing property contains the record. Returns false when the driver
  // refuses it, the device leaves or the wait times out; after a time-out the next waits are
  // shorter (audio_server.h).
  bool finishWrite(Write& write, Deadline deadline);
  // For the notification thread: returns the queued writes and marks them as sent.
  struct Request {
    AudioObjectID device;
    RoutingBytes record;
  };
  std::vector<Request> takeQueuedWrites();

 private:
  void listChanged() { changedSinceRead_ = read_; }
  void failWrites(std::optional<AudioObjectID> device);
  void noteDevices();
  void noteResult(Write::State state, Request write);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool known_ = false;
  bool running_ = false;
  std::vector<Device> devices_;
  bool read_ = false;  // ids() has been called
  bool changedSinceRead_ = false;
  std::vector<Write*> writes_;
  std::optional<Request> unconfirmed_;  // the last write, if it timed out; may be answered late
  Deadline hurriedUntil_;               // until then a write waits only kAudioServerHurriedWriteMs
};

}  // namespace pipewire
