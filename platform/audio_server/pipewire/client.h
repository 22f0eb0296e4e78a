// SPDX-License-Identifier: MIT
// The PipeWire back end's thread, its connection to the PipeWire server, and the mirror of the
// server's devices.
#pragma once

#include <pipewire/pipewire.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/audio_server/listener_list.h"
#include "platform/audio_server/pipewire/device_mirror.h"
#include "platform/audio_server/pipewire/registry_watch.h"
#include "platform/pipewire/pipewire.h"

namespace pipewire {

// Owns the notification thread, on which the PipeWire connection is served and the listeners run.
// Any thread may call the public functions.
class Client {
 public:
  Client() = default;
  // Stops the notification thread and waits for a listener that is running.
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // The mirror of the server's devices. The first call starts the thread. Waits until the first
  // complete list has arrived, the server was found absent, or the deadline.
  DeviceMirror& devices(Deadline deadline);

  bool isNotificationThread() const { return std::this_thread::get_id() == notificationThread_; }

  // Queues a write for the notification thread and waits until the device confirms it. Returns
  // false when the driver refuses it, that times out or the device leaves. Not for the notification
  // thread, which would wait for itself.
  bool write(AudioObjectID device, const RoutingBytes& record, Deadline deadline);

  ListenerList& listeners() { return listeners_; }

  // Makes the notification thread call the listeners as after a change of the device list.
  void notifyListeners();

 private:
  struct LoopDeleter {
    void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
  };

  void start();
  void listChanged();
  static void onWrite(void* data, std::uint64_t count);
  static void onNotify(void* data, std::uint64_t count);

  std::once_flag started_;
  DeviceMirror mirror_;
  ListenerList listeners_;

  // Constructed in this order. The members below loop_ belong to the notification thread once it
  // runs.
  std::optional<Library> library_;
  std::unique_ptr<pw_thread_loop, LoopDeleter> loop_;
  std::optional<RegistryWatch> registry_;
  std::optional<Connection> connection_;
  Source writeEvent_{nullptr, {nullptr}};
  Source notifyEvent_{nullptr, {nullptr}};
  std::atomic<std::thread::id> notificationThread_{};
  std::atomic<bool> ending_ = false;
};

}  // namespace pipewire
