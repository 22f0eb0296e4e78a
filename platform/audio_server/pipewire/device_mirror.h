// SPDX-License-Identifier: MIT
// What is known of the server's audio devices. The notification thread keeps it; every other thread
// reads it and waits on it. Any thread; nothing waits on the server except where it says so.
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
  // The routing property's records in a row; none when the device does not have the property.
  std::optional<std::vector<std::uint8_t>> routings;
};

class DeviceMirror {
 public:
  // For the notification thread. The server counts as running from the first complete list until
  // it is lost; with the loss all devices are gone.
  void setRunning(std::vector<Device> devices);
  void setStopped();
  void add(Device device);
  void remove(AudioObjectID device);
  void setName(AudioObjectID device, std::string name);
  // What the device shows now; confirms the writes that wait for it.
  void setRoutings(AudioObjectID device, std::span<const std::uint8_t> records);
  // The first attempt to reach the server found none.
  void setAbsent();

  // The devices in order of appearance; none while the server is not running.
  std::optional<std::vector<AudioObjectID>> ids();
  // Whether ids() would say something else than when it was last called; false before the first.
  bool changedSinceRead() const;
  std::optional<Device> find(AudioObjectID device) const;

  // Waits until the server was found running or absent once.
  void waitUntilKnown(Deadline deadline);

  // A write on its way. The caller keeps it alive and ends it with finishWrite().
  struct Write {
    AudioObjectID device;
    RoutingBytes record;
    enum class State { kQueued, kSent, kConfirmed, kFailed } state = State::kQueued;
  };
  void queueWrite(Write& write);
  // Waits until the device shows the record; false when it is gone or the time is over, which is
  // sooner after a write that ended so.
  bool finishWrite(Write& write, Deadline deadline);
  // For the notification thread: the queued writes, which count as sent.
  struct Request {
    AudioObjectID device;
    RoutingBytes record;
  };
  std::vector<Request> takeQueuedWrites();

 private:
  void listChanged() { changedSinceRead_ = read_; }
  void failWrites(std::optional<AudioObjectID> device);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool known_ = false;
  bool running_ = false;
  std::vector<Device> devices_;
  bool read_ = false;  // ids() was called, and
  bool changedSinceRead_ = false;
  std::vector<Write*> writes_;
  Deadline hurriedUntil_;  // of writes, after one that was not confirmed
};

}  // namespace pipewire
