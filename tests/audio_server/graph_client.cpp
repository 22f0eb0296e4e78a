// SPDX-License-Identifier: MIT
#include "tests/audio_server/graph_client.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/pipewire/pipewire.h"
#include "platform/pipewire/server_socket.h"

namespace pipewire_test {

namespace {

std::string value(const Properties& properties, const char* key) {
  const auto found = properties.find(key);
  return found == properties.end() ? "" : found->second;
}

}  // namespace

GraphClient::GraphClient()
    : changed_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      loop_(pw_thread_loop_new("graph client", nullptr)),
      context_(pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0)),
      core_(pw_context_connect_fd(context_, pipewire::connectToSocket(pipewire::serverSocketPath()),
                                  nullptr, 0)),
      registry_(pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0)) {
  static const pw_registry_events events = [] {
    pw_registry_events e{};
    e.version = PW_VERSION_REGISTRY_EVENTS;
    e.global = onGlobal;
    e.global_remove = onGlobalRemove;
    return e;
  }();
  pw_registry_add_listener(registry_, &registryListener_, &events, this);
  pw_thread_loop_start(loop_);
}

GraphClient::~GraphClient() {
  pw_thread_loop_stop(loop_);
  for (const auto& [name, proxy] : devices_) pw_proxy_destroy(proxy);
  for (pw_proxy* proxy : links_) pw_proxy_destroy(proxy);
  if (followed_) {
    spa_hook_remove(&nodeListener_);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(followed_));
  }
  spa_hook_remove(&registryListener_);
  pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
  pw_core_disconnect(core_);
  pw_context_destroy(context_);
  pw_thread_loop_destroy(loop_);
  ::close(changed_);
}

void GraphClient::addDevice(const Properties& properties) {
  Properties all = properties;
  all.insert({{"factory.name", "support.null-audio-sink"}, {"audio.position", "FL,FR"}});
  const LoopLock lock(loop_);
  devices_[all.at(PW_KEY_NODE_NAME)] =
      create("adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, all);
}

void GraphClient::removeDevice(const std::string& nodeName) {
  const LoopLock lock(loop_);
  const auto node = devices_.find(nodeName);
  if (node == devices_.end()) return;
  pw_proxy_destroy(node->second);
  devices_.erase(node);
}

void GraphClient::takeEvent() {
  eventfd_t count = 0;
  ::eventfd_read(changed_, &count);
}

bool GraphClient::waitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  while (!condition()) {
    pollfd event{changed_, POLLIN, 0};
    if (::poll(&event, 1, static_cast<int>(limit.count())) <= 0) return condition();
    takeEvent();
  }
  return true;
}

void GraphClient::putEvent() { ::eventfd_write(changed_, 1); }

std::vector<GraphClient::Object> GraphClient::objects() const {
  const LoopLock lock(loop_);
  return objects_;
}

std::uint32_t GraphClient::findNode(const std::string& name) const {
  for (const Object& object : objects()) {
    if (object.type == PW_TYPE_INTERFACE_Node &&
        (value(object.properties, PW_KEY_NODE_DESCRIPTION) == name ||
         value(object.properties, PW_KEY_NODE_NAME) == name)) {
      return object.id;
    }
  }
  return 0;
}

std::uint32_t GraphClient::findPort(std::uint32_t node, const std::string& name) const {
  for (const Object& object : objects()) {
    if (object.type == PW_TYPE_INTERFACE_Port &&
        value(object.properties, PW_KEY_NODE_ID) == std::to_string(node) &&
        value(object.properties, PW_KEY_PORT_NAME) == name) {
      return object.id;
    }
  }
  return 0;
}

void GraphClient::follow(std::uint32_t node) {
  static const pw_node_events events = [] {
    pw_node_events e{};
    e.version = PW_VERSION_NODE_EVENTS;
    e.param = onParam;
    return e;
  }();
  const LoopLock lock(loop_);
  followed_ = static_cast<pw_node*>(
      pw_registry_bind(registry_, node, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
  pw_node_add_listener(followed_, &nodeListener_, &events, this);
  std::uint32_t props = SPA_PARAM_Props;
  pw_node_subscribe_params(followed_, &props, 1);
}

std::vector<std::uint8_t> GraphClient::routings() const {
  const LoopLock lock(loop_);
  return routings_;
}

int GraphClient::timesShown() const {
  const LoopLock lock(loop_);
  return timesShown_;
}

void GraphClient::writeProps(const spa_pod* props) {
  const LoopLock lock(loop_);
  pw_node_set_param(followed_, SPA_PARAM_Props, 0, props);
}

void GraphClient::link(std::uint32_t outputPort, std::uint32_t inputPort) {
  const LoopLock lock(loop_);
  links_.push_back(create("link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK,
                          {{PW_KEY_LINK_OUTPUT_PORT, std::to_string(outputPort)},
                           {PW_KEY_LINK_INPUT_PORT, std::to_string(inputPort)}}));
}

pw_proxy* GraphClient::create(const char* factory, const char* type, std::uint32_t version,
                              const Properties& properties) {
  pw_properties* all = pw_properties_new(nullptr, nullptr);
  for (const auto& [key, text] : properties) pw_properties_set(all, key.c_str(), text.c_str());
  auto* proxy =
      static_cast<pw_proxy*>(pw_core_create_object(core_, factory, type, version, &all->dict, 0));
  pw_properties_free(all);
  return proxy;
}

void GraphClient::onGlobal(void* data, std::uint32_t id, std::uint32_t /*permissions*/,
                           const char* type, std::uint32_t /*version*/,
                           const spa_dict* properties) {
  GraphClient& self = *static_cast<GraphClient*>(data);
  Object object{id, type, {}};
  for (std::uint32_t i = 0; properties && i < properties->n_items; ++i) {
    object.properties[properties->items[i].key] = properties->items[i].value;
  }
  self.objects_.push_back(std::move(object));
  self.putEvent();
}

void GraphClient::onGlobalRemove(void* data, std::uint32_t id) {
  GraphClient& self = *static_cast<GraphClient*>(data);
  std::erase_if(self.objects_, [&](const Object& object) { return object.id == id; });
  self.putEvent();
}

void GraphClient::onParam(void* data, int /*sequence*/, std::uint32_t /*id*/,
                          std::uint32_t /*index*/, std::uint32_t /*next*/, const spa_pod* param) {
  GraphClient& self = *static_cast<GraphClient*>(data);
  if (const auto bytes = pipewire::findRoutingBytes(param)) {
    self.routings_.assign(bytes->begin(), bytes->end());
    ++self.timesShown_;
  }
  self.putEvent();
}

}  // namespace pipewire_test
