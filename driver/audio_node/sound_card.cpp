// SPDX-License-Identifier: MIT
#include "driver/audio_node/sound_card.h"

#include <optional>
#include <string>

namespace driver {

namespace {

// Session managers make the device with the highest priority the default. Hardware has 1000 and
// more, a device without one counts as 0: plugging the interface in takes over nobody's sound. A
// sink's monitor is a source, too: the capture channels come before it.
constexpr int kCapturePriority = -1;
constexpr int kPlaybackPriority = -2;
constexpr int kJacksPriority = -3;

enum class Side { kPrograms, kJacks };

// Nodes of one core run on one thread only when they ask for it by name: a context of a version
// from 1.1 on may have several data loops and names another one at each call, or has none and audio
// runs on the main loop.
std::optional<std::string> chooseDataLoop([[maybe_unused]] pw_core* core) {
#if PW_CHECK_VERSION(1, 1, 0)
  pw_data_loop* loop = pw_context_get_data_loop(pw_core_get_context(core));
  if (loop) return pw_data_loop_get_name(loop);
#endif
  return std::nullopt;
}

AudioStream::Description describe(const AudioNode::Names& names, Side side, bool isSink,
                                  std::uint32_t channels, std::uint32_t sampleRate,
                                  const std::optional<std::string>& dataLoop) {
  const bool isJacks = side == Side::kJacks;
  const std::string suffix =
      isJacks ? (isSink ? "-jacks-in" : "-jacks-out") : (isSink ? "-playback" : "-capture");
  const int priority = isJacks ? kJacksPriority : (isSink ? kPlaybackPriority : kCapturePriority);
  return {isSink,
          channels,
          sampleRate,
          {{PW_KEY_NODE_NAME, names.node + suffix},
           {PW_KEY_NODE_DESCRIPTION, names.description + (isJacks ? " Jacks" : "")},
           // One clock for all nodes of the interface.
           {PW_KEY_NODE_GROUP, names.node},
           {PW_KEY_PRIORITY_SESSION, std::to_string(priority)},
           {kServiceObjectProperty, names.object}},
          std::nullopt,
          dataLoop};
}

AudioStream::Description describe(const AudioNode::Names& names, bool isSink,
                                  std::uint32_t channels, std::uint32_t sampleRate,
                                  const std::optional<std::string>& dataLoop,
                                  const RoutingRecords& records) {
  auto description = describe(names, Side::kPrograms, isSink, channels, sampleRate, dataLoop);
  description.routings = records;
  return description;
}

template <std::size_t kChannels>
using Process = void (RoutingMatrix::*)(const Cycle&, std::size_t,
                                        std::span<float* const, kChannels>);

template <std::size_t kChannels>
AudioStream::Handlers handle(const SoundCard::Handlers& handlers, RoutingMatrix& matrix,
                             Process<kChannels> process) {
  return {
      handlers.written, handlers.stateChanged,
      [&matrix, process](const Cycle& cycle, std::size_t frames, std::span<float* const> channels) {
        (matrix.*process)(cycle, frames, channels.first<kChannels>());
      }};
}

}  // namespace

SoundCard::SoundCard(pw_core* core, const AudioNode::Names& names, const RoutingRecords& records,
                     std::uint32_t sampleRate, RoutingMatrix& matrix, const Handlers& handlers)
    : dataLoop_(chooseDataLoop(core)),
      playback_(core, describe(names, true, kOutputChannels, sampleRate, dataLoop_, records),
                handle<kOutputChannels>(handlers, matrix, &RoutingMatrix::play)),
      capture_(core, describe(names, false, kInputChannels, sampleRate, dataLoop_, records),
               handle<kInputChannels>(handlers, matrix, &RoutingMatrix::capture)),
      jackInputs_(core, describe(names, Side::kJacks, true, kJackInputs, sampleRate, dataLoop_),
                  handle<kJackInputs>(handlers, matrix, &RoutingMatrix::receive)),
      jackOutputs_(core,
                   describe(names, Side::kJacks, false, kOutputChannels, sampleRate, dataLoop_),
                   handle<kOutputChannels>(handlers, matrix, &RoutingMatrix::send)) {}

bool SoundCard::present() const {
  return playback_.present() && capture_.present() && jackInputs_.present() &&
         jackOutputs_.present();
}

bool SoundCard::isDamaged() const {
  return playback_.removed() || capture_.removed() || jackInputs_.removed() ||
         jackOutputs_.removed();
}

bool SoundCard::hasRun() const {
  return playback_.hasRun() || capture_.hasRun() || jackInputs_.hasRun() || jackOutputs_.hasRun();
}

void SoundCard::show(const RoutingRecords& records) {
  playback_.show(records);
  capture_.show(records);
}

void SoundCard::setRate(std::uint32_t sampleRate) {
  for (AudioStream* stream : {&playback_, &capture_, &jackInputs_, &jackOutputs_}) {
    stream->setRate(sampleRate);
  }
}

}  // namespace driver
