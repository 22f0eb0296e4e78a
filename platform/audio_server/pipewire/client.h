// SPDX-License-Identifier: MIT
// This process's connection to the PipeWire server as an audio server of the seam.
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

// Owns the notification thread, on which the connection works and the listeners run. Any thread.
class Client {
 public:
  Client() = default;
  // Ends the notification thread; a listener that is running is waited for.
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // The devices. The first call starts the thread and waits until the first complete list has come,
  // the server was found absent, or the deadline.
  DeviceMirror& devices(Deadline deadline);

  // Has the notification thread send a write, and waits until the device confirms it. False on the
  // notification thread itself, which would wait for its own work.
  bool write(AudioObjectID device, const RoutingBytes& record, Deadline deadline);

  ListenerList& listeners() { return listeners_; }

  // Has the notification thread call the listeners as after a change of the list.
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

  // In the order of their making; what stands below works on the loop.
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
