// SPDX-License-Identifier: MIT
// Another program on the same PipeWire server: it makes devices as the server does for sound cards,
// looks at what is in the graph, writes to nodes and connects ports.
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

// A client with a thread of its own. What it makes lives as long as it does. Any thread.
class GraphClient {
 public:
  // The server must run.
  GraphClient();
  ~GraphClient();
  GraphClient(const GraphClient&) = delete;
  GraphClient& operator=(const GraphClient&) = delete;

  // A device with these properties, known by its "node.name". Ports and format come from the
  // server.
  void addDevice(const Properties& properties);
  void removeDevice(const std::string& nodeName);

  // Readable after each change of what the functions below tell; taking the event resets it.
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
  // Everything in the registry.
  std::vector<Object> objects() const;
  // The node whose "node.description" this is; 0 when there is none.
  std::uint32_t findNode(const std::string& description) const;
  // The port of that name of a node; 0 when there is none.
  std::uint32_t findPort(std::uint32_t node, const std::string& name) const;

  // Follows the node's Props from now on, and can write them.
  void follow(std::uint32_t node);
  // The bytes of the routing property as last shown by the node that is followed.
  std::vector<std::uint8_t> routings() const;
  // How often it has shown its Props.
  int timesShown() const;
  void writeProps(const spa_pod* props);

  // Connects two ports, known by their ids.
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
