// SPDX-License-Identifier: MIT
#include "driver/check/audio_nodes.h"

#include <spa/param/audio/format.h>
#include <spa/pod/iter.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "driver/check/limits.h"
#include "platform/session_bus/session_bus.h"
#include "protocol/options.h"

namespace check {

namespace {

// The first of the numbers of channels that a format offers.
std::int32_t channelsOf(const spa_pod* format) {
  const spa_pod_prop* property = spa_pod_find_prop(format, nullptr, SPA_FORMAT_AUDIO_channels);
  std::uint32_t count = 0;
  std::uint32_t choice = 0;
  std::int32_t channels = 0;
  if (property) spa_pod_get_int(spa_pod_get_values(&property->value, &count, &choice), &channels);
  return channels;
}

}  // namespace

// A node and its proxy.
class AudioNodes::Bound {
 public:
  Bound(pw_node* proxy, std::uint32_t id) : proxy_(proxy) {
    static const pw_node_events events = [] {
      pw_node_events e{};
      e.version = PW_VERSION_NODE_EVENTS;
      e.info = onInfo;
      e.param = onParam;
      return e;
    }();
    node.id = id;
    pw_node_add_listener(proxy_, &listener_, &events, this);
    std::array<std::uint32_t, 2> read = {SPA_PARAM_Props, SPA_PARAM_EnumFormat};
    pw_node_subscribe_params(proxy_, read.data(), read.size());
  }
  ~Bound() {
    spa_hook_remove(&listener_);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(proxy_));
  }
  Bound(const Bound&) = delete;
  Bound& operator=(const Bound&) = delete;

  void write(std::span<const std::uint8_t> bytes) {
    pw_node_set_param(proxy_, SPA_PARAM_Props, 0, pipewire::RoutingProps(bytes).pod());
  }

  Node node;

 private:
  static void onInfo(void* data, const pw_node_info* info) {
    if ((info->change_mask & PW_NODE_CHANGE_MASK_PROPS) == 0 || !info->props) return;
    Node& node = static_cast<Bound*>(data)->node;
    const auto value = [info](const char* key) {
      const char* found = spa_dict_lookup(info->props, key);
      return std::string(found ? found : "");
    };
    node.description = value(PW_KEY_NODE_DESCRIPTION);
    node.mediaClass = value(PW_KEY_MEDIA_CLASS);
    node.object = value(kServiceObjectProperty);
  }

  static void onParam(void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                      const spa_pod* param) {
    if (id == SPA_PARAM_EnumFormat) {
      if (param) static_cast<Bound*>(data)->node.channels = channelsOf(param);
      return;
    }
    const auto bytes = pipewire::findRoutingBytes(param);
    if (!bytes) return;  // a node may have several Props
    Node& node = static_cast<Bound*>(data)->node;
    node.routings.emplace(bytes->begin(), bytes->end());
    ++node.updates;
  }

  pw_node* proxy_;
  spa_hook listener_{};
};

std::unique_ptr<AudioNodes> AudioNodes::connect(std::string* problem) {
  const std::string path = pipewire::serverSocketPath();
  const int socket = path.empty() ? -ENOENT : pipewire::connectToSocket(path);
  if (socket < 0) {
    *problem = std::string("PipeWire cannot be reached: ") + std::strerror(-socket);
    return nullptr;
  }
  std::unique_ptr<AudioNodes> nodes(new AudioNodes);
  if (nodes->start(FileDescriptor(socket)) && nodes->sync()) return nodes;
  *problem = "PipeWire does not answer";
  return nullptr;
}

AudioNodes::AudioNodes()
    : loop_(pw_loop_new(nullptr)),
      context_(loop_ ? pw_context_new(loop_.get(), nullptr, 0) : nullptr) {
  if (loop_) pw_loop_enter(loop_.get());
}

bool AudioNodes::start(FileDescriptor socket) {
  // Takes the socket, also on failure.
  if (context_) core_ = pw_context_connect_fd(context_.get(), socket.release(), nullptr, 0);
  if (!core_) return false;
  static const pw_core_events coreEvents = [] {
    pw_core_events e{};
    e.version = PW_VERSION_CORE_EVENTS;
    e.done = [](void* self, std::uint32_t, int sequence) {
      static_cast<AudioNodes*>(self)->done_ = sequence;
    };
    e.error = [](void* self, std::uint32_t id, int, int result, const char*) {
      AudioNodes& nodes = *static_cast<AudioNodes*>(self);
      nodes.isLost_ = nodes.isLost_ || (id == PW_ID_CORE && pipewire::isLoss(result));
    };
    return e;
  }();
  static const pw_registry_events registryEvents = [] {
    pw_registry_events e{};
    e.version = PW_VERSION_REGISTRY_EVENTS;
    e.global = onGlobal;
    e.global_remove = [](void* self, std::uint32_t id) {
      std::erase_if(static_cast<AudioNodes*>(self)->nodes_,
                    [id](const auto& bound) { return bound->node.id == id; });
    };
    return e;
  }();
  pw_core_add_listener(core_, &coreListener_, &coreEvents, this);
  registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
  pw_registry_add_listener(registry_, &registryListener_, &registryEvents, this);
  return true;
}

AudioNodes::~AudioNodes() {
  nodes_.clear();
  if (registry_) {
    spa_hook_remove(&registryListener_);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
  }
  if (core_) {
    spa_hook_remove(&coreListener_);
    pw_core_disconnect(core_);
  }
  if (loop_) pw_loop_leave(loop_.get());
}

void AudioNodes::onGlobal(void* data, std::uint32_t id, std::uint32_t, const char* type,
                          std::uint32_t, const spa_dict* properties) {
  AudioNodes& self = *static_cast<AudioNodes*>(data);
  const char* kind = properties ? spa_dict_lookup(properties, PW_KEY_MEDIA_CLASS) : nullptr;
  if (std::strcmp(type, PW_TYPE_INTERFACE_Node) != 0 || !kind) return;
  if (!std::string_view(kind).starts_with("Audio/")) return;
  void* proxy = pw_registry_bind(self.registry_, id, type, PW_VERSION_NODE, 0);
  if (proxy) self.nodes_.push_back(std::make_unique<Bound>(static_cast<pw_node*>(proxy), id));
}

bool AudioNodes::sync() {
  // The list, then what the nodes that it binds have.
  return roundTrip() && roundTrip();
}

bool AudioNodes::roundTrip() {
  if (isLost_) return false;
  const int sequence = pw_core_sync(core_, PW_ID_CORE, 0);
  return waitFor([this, sequence] { return done_ == sequence; }, kBusLimitMs);
}

bool AudioNodes::waitFor(const std::function<bool()>& done, int limitMs) {
  const session_bus::Deadline deadline(limitMs);
  while (!done() && !isLost_ && !deadline.hasPassed()) {
    if (pw_loop_iterate(loop_.get(), deadline.milliseconds()) < 0) break;
  }
  return done();
}

std::vector<Node> AudioNodes::named(const std::string& name) const {
  std::vector<Node> found;
  for (const auto& bound : nodes_) {
    const Node& node = bound->node;
    if (node.description == name || node.description == name + " (Bit Accurate)") {
      found.push_back(node);
    }
  }
  return found;
}

void AudioNodes::write(std::uint32_t id, std::span<const std::uint8_t> bytes) {
  const auto bound = std::ranges::find(nodes_, id, [](const auto& b) { return b->node.id; });
  if (bound != nodes_.end()) (*bound)->write(bytes);
}

}  // namespace check
