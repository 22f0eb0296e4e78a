// SPDX-License-Identifier: MIT
#include "driver/audio_node/audio_node.h"

#include <optional>
#include <utility>
#include <vector>

#include "driver/audio_node/graph_connection.h"
#include "driver/audio_node/routing_matrix.h"
#include "driver/audio_node/sound_card.h"

namespace driver {

namespace {

RoutingRecords recordsOf(const Routings& routings) {
  RoutingRecords records{};
  std::size_t next = 0;
  const auto add = [&](std::uint32_t input, const auto& values) {
    for (std::size_t pair = 0; pair < values.size(); ++pair) {
      records[next++] = {input, static_cast<std::int32_t>(pair), values[pair]};
    }
  };
  add(0, routings.outputs);
  add(1, routings.inputs);
  return records;
}

}  // namespace

class AudioNode::Impl final : private GraphMember {
 public:
  Impl(AudioGraph::Impl& graph, const Names& names, const AudioState& state, Handlers handlers);
  ~Impl();

  void set(const AudioState& state);
  RoutingMatrix& matrix() { return matrix_; }

 private:
  void enter(pw_core* core) override;
  void leave() override;
  void sessionManagerCame() override;
  void report() override;
  void show();

  AudioGraph::Impl& graph_;
  Names names_;
  Handlers handlers_;
  AudioState state_;
  RoutingMatrix matrix_;
  // Kept until PipeWire has returned, so that handlers may do anything to the graph.
  std::vector<RoutingRecord> written_;
  bool isStale_ = false;  // the card's nodes have to be made anew
  bool isShown_ = false;  // the records, since the last write
  bool reportedPresent_ = false;
  pw_core* core_ = nullptr;        // while a server runs
  std::optional<SoundCard> card_;  // likewise
};

AudioNode::Impl::Impl(AudioGraph::Impl& graph, const Names& names, const AudioState& state,
                      Handlers handlers)
    : graph_(graph), names_(names), handlers_(std::move(handlers)), state_(state) {
  matrix_.set(state_);
  graph_.add(*this);
}

AudioNode::Impl::~Impl() {
  card_.reset();
  graph_.remove(*this);
}

void AudioNode::Impl::set(const AudioState& state) {
  const AudioState before = std::exchange(state_, state);
  matrix_.set(state_);
  if (state_.sampleRate != before.sampleRate && card_) card_->setRate(state_.sampleRate);
  if (state_.routings != before.routings) show();
}

void AudioNode::Impl::show() {
  if (card_) card_->show(recordsOf(state_.routings));
  isShown_ = true;
}

void AudioNode::Impl::enter(pw_core* core) {
  core_ = core;
  isStale_ = false;
  card_.emplace(core, names_, recordsOf(state_.routings), state_.sampleRate, matrix_,
                SoundCard::Handlers{[this](const RoutingRecord& record) {
                                      written_.push_back(record);
                                      graph_.changed(*this);
                                    },
                                    [this] { graph_.changed(*this); }});
}

void AudioNode::Impl::leave() {
  card_.reset();
  graph_.changed(*this);
}

// A session manager waits for ever for the ports of a node that has run, and holds back all linking
// meanwhile: seen with PipeWire 0.3.65 and WirePlumber 0.4.13, of stock nodes as well, and not with
// PipeWire 1.4.
void AudioNode::Impl::sessionManagerCame() {
  if (pw_get_library_version()[0] != '0' || !card_ || !card_->hasRun()) return;
  isStale_ = true;
  graph_.changed(*this);
}

void AudioNode::Impl::report() {
  for (const RoutingRecord& record : std::exchange(written_, {})) {
    // Once for each write: a second time would look like the refusal of the next write.
    isShown_ = false;
    handlers_.routingWritten(record);
    if (!isShown_) show();
  }
  // Somebody may have destroyed a node at the server.
  if (reportedPresent_ && card_ && (isStale_ || card_->isDamaged())) {
    card_.reset();
    enter(core_);
  }
  const bool present = card_ && card_->present();
  if (std::exchange(reportedPresent_, present) == present) return;
  handlers_.presenceChanged(present);
}

AudioNode::AudioNode(AudioGraph& graph, const Names& names, const AudioState& state,
                     Handlers handlers)
    : impl_(std::make_unique<Impl>(*graph.impl_, names, state, std::move(handlers))) {}

AudioNode::~AudioNode() = default;

void AudioNode::set(const AudioState& state) { impl_->set(state); }
InputLevels AudioNode::takeInputLevels() { return impl_->matrix().takeInputLevels(); }
OutputLevels AudioNode::takeOutputLevels() { return impl_->matrix().takeOutputLevels(); }

}  // namespace driver
