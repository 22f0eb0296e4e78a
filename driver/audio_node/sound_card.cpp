// SPDX-License-Identifier: MIT
#include "driver/audio_node/sound_card.h"

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

AudioStream::Description describe(const AudioNode::Names& names, Side side, bool isSink,
                                  std::uint32_t channels, std::uint32_t sampleRate) {
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
          std::nullopt};
}

AudioStream::Description describe(const AudioNode::Names& names, bool isSink,
                                  std::uint32_t channels, std::uint32_t sampleRate,
                                  const RoutingRecords& records) {
  auto description = describe(names, Side::kPrograms, isSink, channels, sampleRate);
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
    : playback_(core, describe(names, true, kOutputChannels, sampleRate, records),
                handle<kOutputChannels>(handlers, matrix, &RoutingMatrix::play)),
      capture_(core, describe(names, false, kInputChannels, sampleRate, records),
               handle<kInputChannels>(handlers, matrix, &RoutingMatrix::capture)),
      jackInputs_(core, describe(names, Side::kJacks, true, kJackInputs, sampleRate),
                  handle<kJackInputs>(handlers, matrix, &RoutingMatrix::receive)),
      jackOutputs_(core, describe(names, Side::kJacks, false, kOutputChannels, sampleRate),
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
