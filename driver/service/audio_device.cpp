// SPDX-License-Identifier: MIT
#include "driver/service/audio_device.h"

#include "driver/service/request_handler.h"

namespace driver {

namespace {

// An interface is published without its audio device once it has waited for it this long.
constexpr std::chrono::milliseconds kAudioServerPatience{250};

}  // namespace

AudioDevice::AudioDevice(ServiceContext& context, Interface& interface, RequestHandler& handler)
    : graph_(context.audio.graph()),
      interface_(interface),
      handler_(handler),
      wait_(context.event) {}

void AudioDevice::publish(const std::string& path, std::function<void()> ready) {
  withdraw();
  ready_ = std::move(ready);
  const std::string name = interface_.audioDeviceName();
  if (name.empty()) {
    finishWait();
    return;
  }
  node_.emplace(
      graph_, AudioNode::Names{name, interface_.audioNodeName(), path}, interface_.audioState(),
      // A routing that was taken comes back through update(); after another the node shows the old.
      AudioNode::Handlers{[this](const RoutingRecord& routing) { handler_.setRouting(routing); },
                          [this](bool present) {
                            if (present) finishWait();
                          }});
  interface_.setMeter(&*node_);
  if (!wait_.start(kAudioServerPatience, [this] { finishWait(); })) finishWait();
}

void AudioDevice::withdraw() {
  ready_ = nullptr;
  wait_.stop();
  interface_.setMeter(nullptr);
  node_.reset();
}

void AudioDevice::update() {
  if (node_) node_->set(interface_.audioState());
}

void AudioDevice::finishWait() {
  wait_.stop();
  if (const auto ready = std::exchange(ready_, nullptr)) ready();
}

}  // namespace driver
