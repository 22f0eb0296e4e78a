// SPDX-License-Identifier: MIT
#include "driver/audio_node/audio_stream.h"

#include <spa/param/audio/format.h>
#include <spa/param/latency.h>
#include <spa/param/port-config.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/log/log.h"
#include "platform/pipewire/pipewire.h"

namespace driver {

namespace {

constexpr std::int32_t kHighestRate = 384000;

std::span<const std::uint8_t> bytesOf(const RoutingRecords& records) {
  return {reinterpret_cast<const std::uint8_t*>(records.data()), sizeof records};
}

// A pod in memory of its own.
class Pod {
 public:
  Pod() { spa_pod_builder_init(&builder_, storage_.data(), sizeof storage_); }
  Pod(const Pod&) = delete;
  Pod& operator=(const Pod&) = delete;

  spa_pod_builder* builder() { return &builder_; }
  const spa_pod* pod() const { return reinterpret_cast<const spa_pod*>(storage_.data()); }

 private:
  std::array<std::uint64_t, 128> storage_{};  // pods are aligned to 8 bytes
  spa_pod_builder builder_{};
};

// The channels have numbers and no places: programs mix nothing into those that they do not play
// to. A format without a rate is of any.
void buildFormat(spa_pod_builder* builder, std::uint32_t id, std::uint32_t channels,
                 std::optional<std::uint32_t> sampleRate) {
  std::array<std::uint32_t, AudioStream::kMaximumChannels> places{};
  for (std::uint32_t i = 0; i < channels; ++i) places[i] = SPA_AUDIO_CHANNEL_AUX0 + i;
  spa_pod_frame object;
  spa_pod_builder_push_object(builder, &object, SPA_TYPE_OBJECT_Format, id);
  spa_pod_builder_prop(builder, SPA_FORMAT_mediaType, 0);
  spa_pod_builder_id(builder, SPA_MEDIA_TYPE_audio);
  spa_pod_builder_prop(builder, SPA_FORMAT_mediaSubtype, 0);
  spa_pod_builder_id(builder, SPA_MEDIA_SUBTYPE_raw);
  spa_pod_builder_prop(builder, SPA_FORMAT_AUDIO_format, 0);
  spa_pod_builder_id(builder, SPA_AUDIO_FORMAT_F32P);
  if (sampleRate) {
    const bool isChoice = id == SPA_PARAM_EnumFormat;
    spa_pod_frame choice;
    spa_pod_builder_prop(builder, SPA_FORMAT_AUDIO_rate, 0);
    if (isChoice) spa_pod_builder_push_choice(builder, &choice, SPA_CHOICE_Range, 0);
    spa_pod_builder_int(builder, static_cast<std::int32_t>(*sampleRate));
    if (isChoice) {
      spa_pod_builder_int(builder, 1);
      spa_pod_builder_int(builder, kHighestRate);
      spa_pod_builder_pop(builder, &choice);
    }
  }
  spa_pod_builder_prop(builder, SPA_FORMAT_AUDIO_channels, 0);
  spa_pod_builder_int(builder, static_cast<std::int32_t>(channels));
  spa_pod_builder_prop(builder, SPA_FORMAT_AUDIO_position, 0);
  spa_pod_builder_array(builder, sizeof places[0], SPA_TYPE_Id, channels, places.data());
  spa_pod_builder_pop(builder, &object);
}

// A source plays the previous cycle's samples. The ports have to be there.
int setLatency(pw_stream* stream) {
  Pod latency;
  spa_pod_builder* builder = latency.builder();
  spa_pod_frame object;
  spa_pod_builder_push_object(builder, &object, SPA_TYPE_OBJECT_ParamLatency, SPA_PARAM_Latency);
  spa_pod_builder_prop(builder, SPA_PARAM_LATENCY_direction, 0);
  spa_pod_builder_id(builder, SPA_DIRECTION_OUTPUT);
  for (const std::uint32_t quantum : {SPA_PARAM_LATENCY_minQuantum, SPA_PARAM_LATENCY_maxQuantum}) {
    spa_pod_builder_prop(builder, quantum, 0);
    spa_pod_builder_float(builder, 1.0f);
  }
  spa_pod_builder_pop(builder, &object);
  const spa_pod* params[] = {latency.pod()};
  return pw_stream_update_params(stream, params, 1);
}

// The loop of the thread that the connected stream's audio runs on.
pw_loop* dataLoopOf(pw_stream* stream) {
#if PW_CHECK_VERSION(1, 1, 0)
  return pw_stream_get_data_loop(stream);
#else
  pw_core* core = pw_stream_get_core(stream);
  return pw_data_loop_get_loop(pw_context_get_data_loop(pw_core_get_context(core)));
#endif
}

// The node makes its ports itself, since there may be no session manager. They are without
// monitors: a session manager that comes later would wait for those for ever. Versions before
// 0.3.70 do it by a property, which in later ones takes no format of any rate. Later versions run a
// format with a choice of rates at the first of them, and one without a rate at the graph's.
#if PW_CHECK_VERSION(0, 3, 70)
constexpr bool kConfiguresPorts = true;

int configurePorts(pw_stream* stream, const AudioStream::Description& description) {
  Pod config;
  spa_pod_builder* builder = config.builder();
  spa_pod_frame object;
  spa_pod_builder_push_object(builder, &object, SPA_TYPE_OBJECT_ParamPortConfig,
                              SPA_PARAM_PortConfig);
  spa_pod_builder_prop(builder, SPA_PARAM_PORT_CONFIG_direction, 0);
  spa_pod_builder_id(builder, description.isSink ? SPA_DIRECTION_INPUT : SPA_DIRECTION_OUTPUT);
  spa_pod_builder_prop(builder, SPA_PARAM_PORT_CONFIG_mode, 0);
  spa_pod_builder_id(builder, SPA_PARAM_PORT_CONFIG_MODE_dsp);
  spa_pod_builder_prop(builder, SPA_PARAM_PORT_CONFIG_format, 0);
  buildFormat(builder, SPA_PARAM_Format, description.channels, description.sampleRate);
  spa_pod_builder_pop(builder, &object);
  return pw_stream_set_param(stream, SPA_PARAM_PortConfig, config.pod());
}
#else
constexpr bool kConfiguresPorts = false;

int configurePorts(pw_stream*, const AudioStream::Description&) { return 0; }
#endif

// An idle node keeps its rate when the graph's changes, and its samples would then be converted:
// they go through as they are. Versions before 0.3.70 leave such a node silent; there it is
// suspended when it is idle, which may end a player in later versions when the rate changes.
pw_properties* nodeProperties(const AudioStream::Description& description) {
  pw_properties* properties =
      pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CLASS,
                        description.isSink ? "Audio/Sink" : "Audio/Source", nullptr);
  if (kConfiguresPorts) {
    pw_properties_set(properties, "resample.disable", "true");
  } else {
    pw_properties_set(properties, PW_KEY_NODE_SUSPEND_ON_IDLE, "true");
    pw_properties_set(properties, "adapter.auto-port-config",
                      "{ mode = dsp monitor = false position = preserve }");
  }
  pw_properties_setf(properties, PW_KEY_NODE_RATE, "1/%u", description.sampleRate);
  for (const auto& [key, value] : description.properties) {
    pw_properties_set(properties, key.c_str(), value.c_str());
  }
  if (description.dataLoop) {
    pw_properties_set(properties, "node.loop.name", description.dataLoop->c_str());
  }
  return properties;
}

// Once: each return of the server would fail in the same way.
void reportFailure(const char* error) {
  static bool reported = false;
  if (std::exchange(reported, true)) return;
  platform::printError("vx310-driver: an audio node failed: %s\n", error);
}

}  // namespace

AudioStream::AudioStream(pw_core* core, const Description& description, Handlers handlers)
    : handlers_(std::move(handlers)),
      isSink_(description.isSink),
      channels_(description.channels),
      stream_(pw_stream_new(core, description.properties.at(PW_KEY_NODE_NAME).c_str(),
                            nodeProperties(description))) {
  if (!stream_) {
    reportFailure(std::strerror(errno));
    return;
  }
  static const pw_stream_events events = [] {
    pw_stream_events e{};
    e.version = PW_VERSION_STREAM_EVENTS;
    e.state_changed = onState;
    e.param_changed = onParam;
    e.io_changed = onArea;
    e.process = onProcess;
    return e;
  }();
  pw_stream_add_listener(stream_.get(), &listener_, &events, this);

  Pod format;
  const pipewire::RoutingProps props(bytesOf(description.routings.value_or(RoutingRecords{})));
  buildFormat(format.builder(), SPA_PARAM_EnumFormat, description.channels,
              kConfiguresPorts ? std::nullopt : std::optional(description.sampleRate));
  std::array<const spa_pod*, 2> params{format.pod(), props.pod()};
  int result = pw_stream_connect(
      stream_.get(), isSink_ ? PW_DIRECTION_INPUT : PW_DIRECTION_OUTPUT, PW_ID_ANY,
      static_cast<pw_stream_flags>(PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS),
      params.data(), description.routings ? 2 : 1);
  if (result >= 0) result = configurePorts(stream_.get(), description);
  if (result >= 0 && !isSink_) result = setLatency(stream_.get());
  if (result < 0) reportFailure(std::strerror(-result));
}

bool AudioStream::present() const {
  if (!stream_) return false;
  const pw_stream_state state = pw_stream_get_state(stream_.get(), nullptr);
  return state == PW_STREAM_STATE_PAUSED || state == PW_STREAM_STATE_STREAMING;
}

bool AudioStream::removed() const {
  return stream_ && pw_stream_get_state(stream_.get(), nullptr) == PW_STREAM_STATE_UNCONNECTED;
}

void AudioStream::show(const RoutingRecords& records) {
  if (!stream_) return;
  const pipewire::RoutingProps props(bytesOf(records));
  const spa_pod* params[] = {props.pod()};
  pw_stream_update_params(stream_.get(), params, 1);
}

void AudioStream::setRate(std::uint32_t sampleRate) {
  if (!stream_) return;
  const std::string rate = "1/" + std::to_string(sampleRate);
  const std::array items = {spa_dict_item{PW_KEY_NODE_RATE, rate.c_str()}};
  const spa_dict dict{0, items.size(), items.data()};
  pw_stream_update_properties(stream_.get(), &dict);
}

void AudioStream::onState(void* data, pw_stream_state /*before*/, pw_stream_state now,
                          const char* error) {
  if (now == PW_STREAM_STATE_ERROR) reportFailure(error ? error : "unknown");
  AudioStream& self = *static_cast<AudioStream*>(data);
  if (now == PW_STREAM_STATE_STREAMING) self.hasRun_ = true;
  self.handlers_.stateChanged();
}

void AudioStream::onParam(void* data, std::uint32_t id, const spa_pod* param) {
  if (id != SPA_PARAM_Props) return;
  const auto bytes = pipewire::findRoutingBytes(param);
  RoutingRecord record;
  if (!bytes || bytes->size() != sizeof record) return;
  std::memcpy(&record, bytes->data(), sizeof record);
  static_cast<AudioStream*>(data)->handlers_.written(record);
}

// The old area may be unmapped after the return, so this waits until the data thread has the new
// one.
void AudioStream::onArea(void* data, std::uint32_t id, void* area, std::uint32_t size) {
  if (id != SPA_IO_Position) return;
  if (size < sizeof(spa_io_position)) area = nullptr;
  const auto set = [](spa_loop*, bool, std::uint32_t, const void* given, std::size_t, void* self) {
    std::memcpy(&static_cast<AudioStream*>(self)->position_, given, sizeof(void*));
    return 0;
  };
  pw_loop* loop = dataLoopOf(static_cast<AudioStream*>(data)->stream_.get());
  if (loop) pw_loop_invoke(loop, set, 0, &area, sizeof area, true, data);
}

// The samples of each channel that a sink's buffer holds, or a source's is to hold.
std::size_t AudioStream::framesIn(const pw_buffer& buffer) const {
  const spa_buffer& content = *buffer.buffer;
  std::size_t bytes = SIZE_MAX;
  for (const spa_data& data :
       std::span(content.datas, std::min<std::size_t>(content.n_datas, channels_))) {
    std::size_t size = data.maxsize;
    if (isSink_)
      size = std::min<std::size_t>(data.chunk->size,
                                   size - std::min(data.chunk->offset, data.maxsize));
    bytes = std::min(bytes, size);
  }
  const std::size_t frames = bytes / sizeof(float);
  if (isSink_) return frames;
  return std::min<std::size_t>(
      frames, buffer.requested != 0 ? buffer.requested : position_->clock.duration);
}

void AudioStream::onProcess(void* data) {
  AudioStream& self = *static_cast<AudioStream*>(data);
  pw_stream* stream = self.stream_.get();
  pw_buffer* buffer = pw_stream_dequeue_buffer(stream);
  if (!buffer) return;
  if (!self.position_) {  // until the graph has given the node its clock
    pw_stream_queue_buffer(stream, buffer);
    return;
  }
  const spa_buffer& content = *buffer->buffer;
  const std::size_t frames = self.framesIn(*buffer);
  std::array<float*, kMaximumChannels> channels{};
  for (std::size_t i = 0; i < std::min<std::size_t>(content.n_datas, self.channels_); ++i) {
    const spa_data& area = content.datas[i];
    if (!area.data) continue;
    if (!self.isSink_) {
      *area.chunk = {0, static_cast<std::uint32_t>(frames * sizeof(float)), sizeof(float), 0};
    }
    channels[i] =
        reinterpret_cast<float*>(static_cast<std::uint8_t*>(area.data) + area.chunk->offset);
  }
  const spa_io_clock& clock = self.position_->clock;
  self.handlers_.process({clock.position, clock.duration, clock.rate.denom}, frames,
                         std::span(channels).first(self.channels_));
  pw_stream_queue_buffer(stream, buffer);
}

}  // namespace driver
