// SPDX-License-Identifier: MIT
#include "platform/audio_server/pipewire/registry_watch.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/pipewire/pipewire.h"

namespace pipewire {

namespace {

std::string deviceName(const spa_dict* properties) {
  for (const char* key : {PW_KEY_NODE_DESCRIPTION, PW_KEY_NODE_NICK, PW_KEY_NODE_NAME}) {
    if (const char* name = spa_dict_lookup(properties, key)) return name;
  }
  return "";
}

bool isAudioDevice(const char* type, const spa_dict* properties) {
  if (std::strcmp(type, PW_TYPE_INTERFACE_Node) != 0 || !properties) return false;
  const char* mediaClass = spa_dict_lookup(properties, PW_KEY_MEDIA_CLASS);
  return mediaClass && std::string_view(mediaClass).starts_with("Audio/");
}

}  // namespace

// One audio device and its proxy.
class RegistryWatch::Node {
 public:
  // Takes ownership of `proxy`.
  Node(DeviceMirror& mirror, pw_core* core, pw_node* proxy, Device device)
      : mirror_(mirror), device_(std::move(device)), proxy_(proxy) {
    static const pw_node_events events = [] {
      pw_node_events e{};
      e.version = PW_VERSION_NODE_EVENTS;
      e.info = onInfo;
      e.param = onParam;
      return e;
    }();
    pw_node_add_listener(proxy_, &listener_, &events, this);
    std::uint32_t props = SPA_PARAM_Props;
    pw_node_subscribe_params(proxy_, &props, 1);
    // The server answers this request after it has sent the node's info and its present Props.
    sequence_ = pw_core_sync(core, PW_ID_CORE, 0);
  }
  ~Node() {
    spa_hook_remove(&listener_);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(proxy_));
  }
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  std::uint32_t id() const { return device_.id; }
  int sequence() const { return sequence_; }
  bool ready() const { return ready_; }
  void setReady() { ready_ = true; }
  const Device& device() const { return device_; }

  void write(const RoutingBytes& record) {
    pw_node_set_param(proxy_, SPA_PARAM_Props, 0, RoutingProps(record).pod());
  }

 private:
  static void onInfo(void* data, const pw_node_info* info) {
    Node& self = *static_cast<Node*>(data);
    if (!(info->change_mask & PW_NODE_CHANGE_MASK_PROPS) || !info->props) return;
    self.device_.name = deviceName(info->props);
    self.mirror_.setName(self.device_.id, self.device_.name);
  }

  static void onParam(void* data, int /*sequence*/, std::uint32_t id, std::uint32_t /*index*/,
                      std::uint32_t /*next*/, const spa_pod* param) {
    Node& self = *static_cast<Node*>(data);
    if (id != SPA_PARAM_Props) return;
    // A node may send several Props; ignore those without the routing property.
    const auto bytes = findRoutingBytes(param);
    if (!bytes) return;
    self.device_.routings.emplace(bytes->begin(), bytes->end());
    self.mirror_.setRoutings(self.device_.id, *bytes);
  }

  DeviceMirror& mirror_;
  Device device_;
  pw_node* proxy_;
  spa_hook listener_{};
  int sequence_ = 0;
  bool ready_ = false;
};

RegistryWatch::RegistryWatch(DeviceMirror& mirror, std::function<void()> listChanged)
    : mirror_(mirror), listChanged_(std::move(listChanged)) {}

RegistryWatch::~RegistryWatch() = default;

void RegistryWatch::open(pw_core* core) {
  static const pw_core_events coreEvents = [] {
    pw_core_events e{};
    e.version = PW_VERSION_CORE_EVENTS;
    e.done = onDone;
    return e;
  }();
  static const pw_registry_events registryEvents = [] {
    pw_registry_events e{};
    e.version = PW_VERSION_REGISTRY_EVENTS;
    e.global = onGlobal;
    e.global_remove = onGlobalRemove;
    return e;
  }();
  core_ = core;
  pw_core_add_listener(core_, &coreListener_, &coreEvents, this);
  registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
  if (!registry_) return;
  pw_registry_add_listener(registry_, &registryListener_, &registryEvents, this);
  listSequence_ = pw_core_sync(core_, PW_ID_CORE, 0);
}

void RegistryWatch::close() {
  nodes_.clear();
  if (registry_) {
    spa_hook_remove(&registryListener_);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(std::exchange(registry_, nullptr)));
  }
  spa_hook_remove(&coreListener_);
  core_ = nullptr;
  listReceived_ = false;
  mirror_.setStopped();
  if (std::exchange(published_, false)) listChanged_();
}

void RegistryWatch::sendWrites() {
  for (const DeviceMirror::Request& request : mirror_.takeQueuedWrites()) {
    const auto node = std::ranges::find(nodes_, request.device, &Node::id);
    if (node != nodes_.end()) {
      (*node)->write(request.record);
    } else {
      mirror_.remove(request.device);
    }
  }
}

void RegistryWatch::requestDone(int sequence) {
  if (sequence == listSequence_) listReceived_ = true;
  for (const auto& node : nodes_) {
    if (node->sequence() != sequence || node->ready()) continue;
    node->setReady();
    if (!published_) continue;
    mirror_.add(node->device());
    listChanged_();
  }
  publishWhenComplete();
}

void RegistryWatch::publishWhenComplete() {
  if (published_ || !listReceived_ || !std::ranges::all_of(nodes_, &Node::ready)) return;
  std::vector<Device> devices;
  for (const auto& node : nodes_) devices.push_back(node->device());
  published_ = true;
  mirror_.setRunning(std::move(devices));
  listChanged_();
}

void RegistryWatch::onDone(void* data, std::uint32_t id, int sequence) {
  if (id == PW_ID_CORE) static_cast<RegistryWatch*>(data)->requestDone(sequence);
}

void RegistryWatch::onGlobal(void* data, std::uint32_t id, std::uint32_t /*permissions*/,
                             const char* type, std::uint32_t /*version*/,
                             const spa_dict* properties) {
  RegistryWatch& self = *static_cast<RegistryWatch*>(data);
  // Ids 0 and 1 are the server's own objects; at the seam they have other meanings.
  if (id <= kAudioObjectSystemObject || !isAudioDevice(type, properties)) return;
  auto* proxy = static_cast<pw_node*>(
      pw_registry_bind(self.registry_, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
  if (!proxy) return;
  self.nodes_.push_back(std::make_unique<Node>(self.mirror_, self.core_, proxy,
                                               Device{id, deviceName(properties), std::nullopt}));
}

void RegistryWatch::onGlobalRemove(void* data, std::uint32_t id) {
  RegistryWatch& self = *static_cast<RegistryWatch*>(data);
  const auto node = std::ranges::find(self.nodes_, id, [](const auto& n) { return n->id(); });
  if (node == self.nodes_.end()) return;
  const bool listed = self.published_ && (*node)->ready();
  self.nodes_.erase(node);
  self.mirror_.remove(id);
  if (listed) self.listChanged_();
  self.publishWhenComplete();
}

}  // namespace pipewire
