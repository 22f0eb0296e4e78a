// SPDX-License-Identifier: MIT
#include "driver/audio_node/published_node.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include "platform/pipewire/pipewire.h"

namespace driver {

namespace {

// What a DSP port's buffers hold at most (MAX_SAMPLES of PipeWire's filter).
constexpr std::size_t kMaximumFrames = 8192;

std::span<const std::uint8_t> bytesOf(const RoutingRecords& records) {
  return {reinterpret_cast<const std::uint8_t*>(records.data()), sizeof records};
}

pw_properties* nodeProperties(const std::string& description) {
  return pw_properties_new(PW_KEY_NODE_NAME, "vx310", PW_KEY_NODE_DESCRIPTION, description.c_str(),
                           PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CLASS, "Audio/Duplex", nullptr);
}

// Marked as physical ports: they represent connectors, not a program.
void* addPort(pw_filter* filter, pw_direction direction, const char* kind, int number) {
  pw_properties* properties =
      pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio", PW_KEY_PORT_PHYSICAL, "true",
                        PW_KEY_PORT_TERMINAL, "true", nullptr);
  pw_properties_setf(properties, PW_KEY_PORT_NAME, "%s_%d", kind, number);
  pw_properties_setf(properties, PW_KEY_AUDIO_CHANNEL, "AUX%d", number - 1);
  // Port data of 1 byte gives each port an address of its own to be known by.
  return pw_filter_add_port(filter, direction, PW_FILTER_PORT_FLAG_MAP_BUFFERS, 1, properties,
                            nullptr, 0);
}

}  // namespace

PublishedNode::PublishedNode(pw_core* core, const std::string& description,
                             const RoutingRecords& records, const Loopback& loopback,
                             Handlers handlers)
    : loopback_(loopback),
      handlers_(std::move(handlers)),
      filter_(pw_filter_new(core, description.c_str(), nodeProperties(description))) {
  if (!filter_) return;
  static const pw_filter_events events = [] {
    pw_filter_events e{};
    e.version = PW_VERSION_FILTER_EVENTS;
    e.state_changed = onState;
    e.param_changed = onParam;
    e.process = onProcess;
    return e;
  }();
  pw_filter_add_listener(filter_.get(), &listener_, &events, this);
  addPorts();
  const pipewire::RoutingProps props(bytesOf(records));
  const spa_pod* params[] = {props.pod()};
  pw_filter_connect(filter_.get(), PW_FILTER_FLAG_RT_PROCESS, params, 1);
}

void PublishedNode::addPorts() {
  for (int i = 0; i < kCaptureChannels; ++i) {
    capture_[static_cast<std::size_t>(i)] =
        addPort(filter_.get(), PW_DIRECTION_OUTPUT, "capture", i + 1);
  }
  for (int i = 0; i < kPlaybackChannels; ++i) {
    playback_[static_cast<std::size_t>(i)] =
        addPort(filter_.get(), PW_DIRECTION_INPUT, "playback", i + 1);
  }
}

bool PublishedNode::present() const {
  if (!filter_) return false;
  const pw_filter_state state = pw_filter_get_state(filter_.get(), nullptr);
  return state == PW_FILTER_STATE_PAUSED || state == PW_FILTER_STATE_STREAMING;
}

void PublishedNode::show(const RoutingRecords& records) {
  if (!filter_) return;
  const pipewire::RoutingProps props(bytesOf(records));
  const spa_pod* params[] = {props.pod()};
  pw_filter_update_params(filter_.get(), nullptr, params, 1);
}

void PublishedNode::onState(void* data, pw_filter_state /*before*/, pw_filter_state /*now*/,
                            const char* /*error*/) {
  static_cast<PublishedNode*>(data)->handlers_.stateChanged();
}

void PublishedNode::onParam(void* data, void* port, std::uint32_t id, const spa_pod* param) {
  if (port || id != SPA_PARAM_Props) return;
  const auto bytes = pipewire::findRoutingBytes(param);
  RoutingRecord record;
  if (!bytes || bytes->size() != sizeof record) return;
  std::memcpy(&record, bytes->data(), sizeof record);
  static_cast<PublishedNode*>(data)->handlers_.written(record);
}

void PublishedNode::onProcess(void* data, spa_io_position* position) {
  const PublishedNode& self = *static_cast<PublishedNode*>(data);
  if (!position) return;
  const std::size_t frames = std::min<std::size_t>(position->clock.duration, kMaximumFrames);
  const auto buffer = [frames](void* port) {
    return port ? static_cast<float*>(
                      pw_filter_get_dsp_buffer(port, static_cast<std::uint32_t>(frames)))
                : nullptr;
  };
  std::array<const float*, kPlaybackChannels> playback;
  std::array<float*, kCaptureChannels> capture;
  std::ranges::transform(self.playback_, playback.begin(), buffer);
  std::ranges::transform(self.capture_, capture.begin(), buffer);
  self.loopback_.process(playback, capture, frames);
}

}  // namespace driver
