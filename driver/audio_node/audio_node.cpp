#include "driver/audio_node/audio_node.h"

#include <pipewire/pipewire.h>

#include <optional>
#include <utility>
#include <vector>

#include "driver/audio_node/loopback.h"
#include "driver/audio_node/published_node.h"
#include "platform/audio_server/pipewire/connection.h"

namespace driver {

class AudioNode::Impl {
 public:
  Impl(std::string description, Handlers handlers);

  int descriptor() const { return loop_ ? pw_loop_get_fd(loop_.get()) : -1; }
  void dispatch();
  void publish(const RoutingRecords& records);
  void withdraw();
  void setRoutings(const RoutingRecords& records);
  bool present() const { return node_ && node_->present(); }

 private:
  struct LoopDeleter {
    void operator()(pw_loop* loop) const { pw_loop_destroy(loop); }
  };

  void opened(pw_core* core);
  void answerWrites();
  void reportPresence();

  std::string description_;
  Handlers handlers_;
  RoutingRecords records_{};
  Loopback loopback_;
  // Kept until PipeWire has returned, so that handlers may do anything to the node.
  std::vector<RoutingRecord> written_;
  bool reportedPresent_ = false;

  // In the order of their making: each works on those above it.
  pipewire::Library library_;
  std::unique_ptr<pw_loop, LoopDeleter> loop_{pw_loop_new(nullptr)};
  std::optional<PublishedNode> node_;
  std::optional<pipewire::Connection> connection_;  // while published
};

AudioNode::Impl::Impl(std::string description, Handlers handlers)
    : description_(std::move(description)), handlers_(std::move(handlers)) {}

void AudioNode::Impl::dispatch() {
  if (!loop_) return;
  pw_loop_enter(loop_.get());
  pw_loop_iterate(loop_.get(), 0);
  pw_loop_leave(loop_.get());
  answerWrites();
  reportPresence();
}

void AudioNode::Impl::publish(const RoutingRecords& records) {
  if (!loop_) return;
  records_ = records;
  loopback_.setRoutings(records);
  if (connection_) {
    if (node_) node_->show(records_);
    return;
  }
  // The configuration whose audio thread has realtime priority.
  connection_.emplace(loop_.get(), "client-rt.conf",
                      pipewire::Connection::Handlers{[this](pw_core* core) { opened(core); },
                                                     [this] { node_.reset(); }});
  connection_->start();
}

void AudioNode::Impl::withdraw() {
  connection_.reset();
  written_.clear();
  reportPresence();
}

void AudioNode::Impl::setRoutings(const RoutingRecords& records) {
  if (!connection_) return;
  publish(records);
}

void AudioNode::Impl::opened(pw_core* core) {
  node_.emplace(core, description_, records_, loopback_,
                [this](const RoutingRecord& record) { written_.push_back(record); });
}

void AudioNode::Impl::answerWrites() {
  for (const RoutingRecord& record : std::exchange(written_, {})) {
    if (handlers_.routingWritten) handlers_.routingWritten(record);
    if (node_) node_->show(records_);
  }
}

void AudioNode::Impl::reportPresence() {
  if (std::exchange(reportedPresent_, present()) == present()) return;
  if (handlers_.presenceChanged) handlers_.presenceChanged(reportedPresent_);
}

AudioNode::AudioNode(std::string description, Handlers handlers)
    : impl_(std::make_unique<Impl>(std::move(description), std::move(handlers))) {}

AudioNode::~AudioNode() = default;

int AudioNode::descriptor() const { return impl_->descriptor(); }
void AudioNode::dispatch() { impl_->dispatch(); }
void AudioNode::publish(const RoutingRecords& records) { impl_->publish(records); }
void AudioNode::withdraw() { impl_->withdraw(); }
void AudioNode::setRoutings(const RoutingRecords& records) { impl_->setRoutings(records); }
bool AudioNode::present() const { return impl_->present(); }

}  // namespace driver
