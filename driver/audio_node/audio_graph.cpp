// SPDX-License-Identifier: MIT
#include "driver/audio_node/audio_graph.h"

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
  for (GraphMember* member : members_) member->enter(core);
}

void AudioGraph::Impl::closing() {
  core_ = nullptr;
  for (GraphMember* member : members_) member->leave();
}

AudioGraph::AudioGraph() : impl_(std::make_unique<Impl>()) {}
AudioGraph::~AudioGraph() = default;

int AudioGraph::descriptor() const { return impl_->descriptor(); }
void AudioGraph::dispatch() { impl_->dispatch(); }

}  // namespace driver
