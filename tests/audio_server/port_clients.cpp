// SPDX-License-Identifier: MIT
#include "tests/audio_server/port_clients.h"

#include <algorithm>
#include <utility>

namespace pipewire_test {

namespace {

pw_filter* makeFilter(pw_core* core, const char* name) {
  return pw_filter_new(core, name,
                       pw_properties_new(PW_KEY_NODE_NAME, name, PW_KEY_NODE_DESCRIPTION, name,
                                         PW_KEY_MEDIA_TYPE, "Audio", nullptr));
}

void* addPort(pw_filter* filter, pw_direction direction, const char* kind, std::size_t number) {
  pw_properties* properties =
      pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio", nullptr);
  pw_properties_setf(properties, PW_KEY_PORT_NAME, "%s_%zu", kind, number);
  return pw_filter_add_port(filter, direction, PW_FILTER_PORT_FLAG_MAP_BUFFERS, 1, properties,
                            nullptr, 0);
}

pw_filter_events eventsWith(void (*process)(void*, spa_io_position*)) {
  pw_filter_events events{};
  events.version = PW_VERSION_FILTER_EVENTS;
  events.process = process;
  return events;
}

}  // namespace

Player::Player(GraphClient& client, std::vector<float> levels)
    : client_(client), levels_(std::move(levels)) {
  static const pw_filter_events events = eventsWith(onProcess);
  const LoopLock lock(client_.loop());
  filter_ = makeFilter(client_.core(), "player");
  pw_filter_add_listener(filter_, &listener_, &events, this);
  for (std::size_t i = 1; i <= levels_.size(); ++i) {
    ports_.push_back(addPort(filter_, PW_DIRECTION_OUTPUT, "out", i));
  }
  pw_filter_connect(filter_, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
}

Player::~Player() {
  const LoopLock lock(client_.loop());
  pw_filter_destroy(filter_);
}

void Player::onProcess(void* data, spa_io_position* position) {
  const Player& self = *static_cast<Player*>(data);
  const auto frames = static_cast<std::uint32_t>(position->clock.duration);
  for (std::size_t i = 0; i < self.ports_.size(); ++i) {
    auto* samples = static_cast<float*>(pw_filter_get_dsp_buffer(self.ports_[i], frames));
    if (samples) std::fill_n(samples, frames, self.levels_[i]);
  }
}

Recorder::Recorder(GraphClient& client, std::size_t ports) : client_(client) {
  static const pw_filter_events events = eventsWith(onProcess);
  const LoopLock lock(client_.loop());
  filter_ = makeFilter(client_.core(), "recorder");
  pw_filter_add_listener(filter_, &listener_, &events, this);
  for (std::size_t i = 1; i <= ports; ++i) {
    ports_.push_back(addPort(filter_, PW_DIRECTION_INPUT, "in", i));
  }
  pw_filter_connect(filter_, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
}

Recorder::~Recorder() {
  const LoopLock lock(client_.loop());
  pw_filter_destroy(filter_);
}

std::vector<float> Recorder::levels() const {
  const std::lock_guard lock(mutex_);
  return levels_;
}

// Locks the audio thread for a moment, which is allowed here: the tests have no hardware.
void Recorder::onProcess(void* data, spa_io_position* position) {
  Recorder& self = *static_cast<Recorder*>(data);
  const auto frames = static_cast<std::uint32_t>(position->clock.duration);
  std::vector<float> levels;
  for (void* port : self.ports_) {
    const auto* samples = static_cast<const float*>(pw_filter_get_dsp_buffer(port, frames));
    const bool even = samples && std::all_of(samples, samples + frames,
                                             [&](float sample) { return sample == samples[0]; });
    if (even) levels.push_back(samples[0]);
  }
  if (levels.size() != self.ports_.size()) levels.clear();
  const std::lock_guard lock(self.mutex_);
  self.levels_ = std::move(levels);
  self.client_.putEvent();
}

}  // namespace pipewire_test
