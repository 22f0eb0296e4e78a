// SPDX-License-Identifier: MIT
// Follows the audio devices in the PipeWire registry and updates a DeviceMirror.
#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/audio_server/pipewire/device_mirror.h"

namespace pipewire {

// A device is a node whose media class begins with "Audio/". It is added to the mirror once the
// server has sent both its name and its Props. Thread: that of the PipeWire connection's loop.
class RegistryWatch {
 public:
  // `listChanged` is called after each change of the device list.
  RegistryWatch(DeviceMirror& mirror, std::function<void()> listChanged);
  ~RegistryWatch();

  // Starts on a new connection; close() destroys every proxy made from `core`.
  void open(pw_core* core);
  void close();

  // Sends the writes that are queued in the mirror. A write to a device that has left fails.
  void sendWrites();

 private:
  class Node;

  void requestDone(int sequence);
  void publishWhenComplete();

  static void onDone(void* data, std::uint32_t id, int sequence);
  static void onGlobal(void* data, std::uint32_t id, std::uint32_t permissions, const char* type,
                       std::uint32_t version, const spa_dict* properties);
  static void onGlobalRemove(void* data, std::uint32_t id);

  DeviceMirror& mirror_;
  std::function<void()> listChanged_;
  pw_core* core_ = nullptr;
  spa_hook coreListener_{};
  pw_registry* registry_ = nullptr;
  spa_hook registryListener_{};
  std::vector<std::unique_ptr<Node>> nodes_;  // in order of appearance
  int listSequence_ = 0;                      // answered once all present nodes were announced
  bool listReceived_ = false;                 // listSequence_ was answered
  bool published_ = false;                    // the mirror holds a complete list
};

}  // namespace pipewire
