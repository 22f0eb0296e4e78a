// SPDX-License-Identifier: MIT
#include "driver/audio_node/audio_graph.h"

#include <pipewire/extensions/metadata.h>
#include <spa/utils/string.h>

#include "driver/audio_node/graph_connection.h"

namespace driver {

void AudioGraph::Impl::dispatch() {
  if (!loop_) return;
  pw_loop_enter(loop_.get());
  pw_loop_iterate(loop_.get(), 0);
  pw_loop_leave(loop_.get());
  while (!changed_.empty()) {
    GraphMember& member = *changed_.front();
    std::erase(changed_, &member);
    member.report();
  }
}

void AudioGraph::Impl::add(GraphMember& member) {
  members_.push_back(&member);
  if (core_) member.enter(core_);
  if (connection_ || !loop_) return;
  connection_.emplace(loop_.get(), pipewire::realtimeConfiguration(pw_get_library_version()),
                      pipewire::Connection::Handlers{[this](pw_core* core) { opened(core); },
                                                     [this] { closing(); }});
  connection_->start();
}

void AudioGraph::Impl::remove(GraphMember& member) {
  std::erase(members_, &member);
  std::erase(changed_, &member);
}

void AudioGraph::Impl::opened(pw_core* core) {
  core_ = core;
  registry_.reset(pw_core_get_registry(core, PW_VERSION_REGISTRY, 0));
  if (registry_) {
    static const pw_registry_events events = [] {
      pw_registry_events e{};
      e.version = PW_VERSION_REGISTRY_EVENTS;
      e.global = onGlobal;
      return e;
    }();
    pw_registry_add_listener(registry_.get(), &registryListener_, &events, this);
  }
  for (GraphMember* member : members_) member->enter(core);
}

void AudioGraph::Impl::closing() {
  core_ = nullptr;
  for (GraphMember* member : members_) member->leave();
  registry_.reset();
}

// The list of default devices is the session manager's.
void AudioGraph::Impl::onGlobal(void* data, std::uint32_t /*id*/, std::uint32_t /*permissions*/,
                                const char* type, std::uint32_t /*version*/,
                                const spa_dict* properties) {
  if (!spa_streq(type, PW_TYPE_INTERFACE_Metadata) || !properties) return;
  const char* name = spa_dict_lookup(properties, PW_KEY_METADATA_NAME);
  if (!spa_streq(name, "default")) return;
  for (GraphMember* member : static_cast<Impl*>(data)->members_) member->sessionManagerCame();
}

AudioGraph::AudioGraph() : impl_(std::make_unique<Impl>()) {}
AudioGraph::~AudioGraph() = default;

int AudioGraph::descriptor() const { return impl_->descriptor(); }
void AudioGraph::dispatch() { impl_->dispatch(); }

}  // namespace driver
