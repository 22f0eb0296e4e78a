// SPDX-License-Identifier: MIT
// Follows the audio devices in the server's registry and keeps a DeviceMirror of them.
#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/audio_server/pipewire/device_mirror.h"

namespace pipewire {

// Thread of the connection's loop. A device is a node whose media class begins with "Audio/". It is
// listed once the server has told its name and its properties, so that both are known at once.
class RegistryWatch {
 public:
  // `listChanged` is called after each change of the list.
  RegistryWatch(DeviceMirror& mirror, std::function<void()> listChanged);
  ~RegistryWatch();

  void open(pw_core* core);
  // Lets go of everything that belongs to the connection.
  void close();

  // Sends the writes that wait in the mirror. Those to a device that left fail with its leaving.
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
  int listSequence_ = 0;                      // the request after which all old nodes are known
  bool listReceived_ = false;                 // it was answered
  bool published_ = false;                    // the mirror holds a complete list
};

}  // namespace pipewire
