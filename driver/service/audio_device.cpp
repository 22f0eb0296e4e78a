// SPDX-License-Identifier: MIT
#include "driver/service/audio_device.h"

#include "driver/service/request_handler.h"

namespace driver {

namespace {

// An interface is published without its audio device once it has waited for it this long.
constexpr std::chrono::milliseconds kAudioServerPatience{250};

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

AudioDevice::AudioDevice(ServiceContext& context, Interface& interface, RequestHandler& handler)
    : graph_(context.audio.graph()),
      interface_(interface),
      handler_(handler),
      wait_(context.event) {}

void AudioDevice::publish(std::function<void()> ready) {
  withdraw();
  ready_ = std::move(ready);
  const std::string name = interface_.audioDeviceName();
  if (name.empty()) {
    finishWait();
    return;
  }
  node_.emplace(
      graph_, name, recordsOf(interface_.registryEntry().routings),
      // A routing that was taken comes back through update(); after another the node shows the old.
      AudioNode::Handlers{[this](const RoutingRecord& routing) { handler_.setRouting(routing); },
                          [this](bool present) {
                            if (present) finishWait();
                          }});
  if (!wait_.start(kAudioServerPatience, [this] { finishWait(); })) finishWait();
}

void AudioDevice::withdraw() {
  ready_ = nullptr;
  wait_.stop();
  node_.reset();
}

void AudioDevice::update() {
  if (node_) node_->setRoutings(recordsOf(interface_.registryEntry().routings));
}

void AudioDevice::finishWait() {
  wait_.stop();
  if (const auto ready = std::exchange(ready_, nullptr)) ready();
}

}  // namespace driver
