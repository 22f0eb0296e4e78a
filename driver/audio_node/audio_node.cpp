// SPDX-License-Identifier: MIT
#include "driver/audio_node/audio_node.h"

#include <optional>
#include <utility>
#include <vector>

#include "driver/audio_node/graph_connection.h"
#include "driver/audio_node/loopback.h"
#include "driver/audio_node/published_node.h"

namespace driver {

class AudioNode::Impl final : private GraphMember {
 public:
  Impl(AudioGraph::Impl& graph, const std::string& description, const RoutingRecords& records,
       Handlers handlers);
  ~Impl();

  void setRoutings(const RoutingRecords& records);

 private:
  void enter(pw_core* core) override;
  void leave() override;
  void report() override;
  void show();

  AudioGraph::Impl& graph_;
  std::string description_;
  Handlers handlers_;
  RoutingRecords records_;
  Loopback loopback_;
  // Kept until PipeWire has returned, so that handlers may do anything to the graph.
  std::vector<RoutingRecord> written_;
  bool isShown_ = false;  // the records, since the last write
  bool reportedPresent_ = false;
  std::optional<PublishedNode> node_;  // while a server runs
};

AudioNode::Impl::Impl(AudioGraph::Impl& graph, const std::string& description,
                      const RoutingRecords& records, Handlers handlers)
    : graph_(graph), description_(description), handlers_(std::move(handlers)), records_(records) {
  loopback_.setRoutings(records_);
  graph_.add(*this);
}

AudioNode::Impl::~Impl() {
  node_.reset();
  graph_.remove(*this);
}

void AudioNode::Impl::setRoutings(const RoutingRecords& records) {
  if (records == records_) return;
  records_ = records;
  loopback_.setRoutings(records_);
  show();
}

void AudioNode::Impl::show() {
  if (node_) node_->show(records_);
  isShown_ = true;
}

void AudioNode::Impl::enter(pw_core* core) {
  node_.emplace(core, description_, records_, loopback_,
                PublishedNode::Handlers{[this](const RoutingRecord& record) {
                                          written_.push_back(record);
                                          graph_.changed(*this);
                                        },
                                        [this] { graph_.changed(*this); }});
}

void AudioNode::Impl::leave() {
  node_.reset();
  graph_.changed(*this);
}

void AudioNode::Impl::report() {
  for (const RoutingRecord& record : std::exchange(written_, {})) {
    // Once for each write: a second time would look like the refusal of the next write.
    isShown_ = false;
    if (handlers_.routingWritten) handlers_.routingWritten(record);
    if (!isShown_) show();
  }
  const bool present = node_ && node_->present();
  if (std::exchange(reportedPresent_, present) == present) return;
  if (handlers_.presenceChanged) handlers_.presenceChanged(present);
}

AudioNode::AudioNode(AudioGraph& graph, const std::string& description,
                     const RoutingRecords& records, Handlers handlers)
    : impl_(std::make_unique<Impl>(*graph.impl_, description, records, std::move(handlers))) {}

AudioNode::~AudioNode() = default;

void AudioNode::setRoutings(const RoutingRecords& records) { impl_->setRoutings(records); }

}  // namespace driver
