// SPDX-License-Identifier: MIT
// Another client of the same PipeWire server: makes devices as the server does for sound cards,
// lists the graph's objects, writes to nodes and connects ports.
#pragma once

#include <pipewire/pipewire.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/pipewire/pipewire.h"

namespace pipewire_test {

using Properties = std::map<std::string, std::string>;

// A client with a thread of its own. It owns the devices and links that it makes. Any thread.
class GraphClient {
 public:
  // The server must be running.
  GraphClient();
  ~GraphClient();
  GraphClient(const GraphClient&) = delete;
  GraphClient& operator=(const GraphClient&) = delete;

  // Makes a device with these properties; its "node.name" identifies it. The server chooses its
  // ports and format.
  void addDevice(const Properties& properties);
  void removeDevice(const std::string& nodeName);

  // Reads as ready after each change of the data that the functions below return, until
  // takeEvent().
  int descriptor() const { return changed_; }
  void takeEvent();
  // Waits for events until the condition holds.
  bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit);
  void putEvent();

  struct Object {
    std::uint32_t id;
    std::string type;
    Properties properties;
  };
  // All objects of the registry.
  std::vector<Object> objects() const;
  // The id of the first node with this "node.description" or "node.name"; 0 if there is none.
  std::uint32_t findNode(const std::string& name) const;
  // The id of a node's port of this name; 0 if there is none.
  std::uint32_t findPort(std::uint32_t node, const std::string& name) const;

  // Follows the Props of `node`; writeProps() then writes to it.
  void follow(std::uint32_t node);
  // The bytes of the routing property that the followed node sent last.
  std::vector<std::uint8_t> routings() const;
  // How often the followed node has sent its Props.
  int timesShown() const;
  void writeProps(const spa_pod* props);

  // Connects two ports by their ids.
  void link(std::uint32_t outputPort, std::uint32_t inputPort);

  pw_thread_loop* loop() { return loop_; }
  pw_core* core() { return core_; }

 private:
  static void onGlobal(void* data, std::uint32_t id, std::uint32_t permissions, const char* type,
                       std::uint32_t version, const spa_dict* properties);
  static void onGlobalRemove(void* data, std::uint32_t id);
  static void onParam(void* data, int sequence, std::uint32_t id, std::uint32_t index,
                      std::uint32_t next, const spa_pod* param);
  pw_proxy* create(const char* factory, const char* type, std::uint32_t version,
                   const Properties& properties);

  pipewire::Library library_;
  int changed_;
  pw_thread_loop* loop_;
  pw_context* context_;
  pw_core* core_;
  pw_registry* registry_;
  spa_hook registryListener_{};
  std::vector<Object> objects_;
  std::map<std::string, pw_proxy*> devices_;
  std::vector<pw_proxy*> links_;
  pw_node* followed_ = nullptr;
  spa_hook nodeListener_{};
  std::vector<std::uint8_t> routings_;
  int timesShown_ = 0;
};

// Holds a thread loop's lock.
class LoopLock {
 public:
  explicit LoopLock(pw_thread_loop* loop) : loop_(loop) { pw_thread_loop_lock(loop_); }
  ~LoopLock() { pw_thread_loop_unlock(loop_); }
  LoopLock(const LoopLock&) = delete;
  LoopLock& operator=(const LoopLock&) = delete;

 private:
  pw_thread_loop* loop_;
};

}  // namespace pipewire_test
