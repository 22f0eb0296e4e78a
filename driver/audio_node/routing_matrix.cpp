// SPDX-License-Identifier: MIT
#include "driver/audio_node/routing_matrix.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace driver {

namespace {

// Pairs of source channels, in their order.
enum Source : std::uint8_t { kPlayback12, kPlayback34, kAnalog12, kAnalog34, kDigital, kSilence };

constexpr unsigned kSourceBits = 3;

Source inputSource(const AudioState& state, std::int32_t value) {
  switch (value) {
    case kFromAnalog12:
      return kAnalog12;
    case kFromAnalog34:
      return kAnalog34;
    case kFromDigital:
      return state.hearsDigitalInput ? kDigital : kSilence;
    case kFromLoopback:
      return kPlayback12;
    default:
      return kSilence;
  }
}

Source outputSource(const AudioState& state, std::int32_t value) {
  switch (value) {
    case kFromPlayback12:
      return kPlayback12;
    case kFromPlayback34:
      return kPlayback34;
    case kFromInput12:
    case kFromInput34:
    case kFromInput56:
      return inputSource(state,
                         state.routings.inputs[static_cast<std::size_t>(value - kFromInput12)]);
    default:
      return kSilence;
  }
}

// Takes one sample to `to` and its magnitude to `peak`. Comparing costs the same for denormals.
void copyFinite(float from, float& to, float& peak) {
  const float magnitude = std::fabs(from);
  const bool finite = magnitude <= std::numeric_limits<float>::max();
  to = finite ? from : 0.0f;
  const float counted = finite ? magnitude : 0.0f;
  peak = counted > peak ? counted : peak;
}

// Copies samples and returns their peak. Several peaks at a time, so that the loop is vectorised.
float copyFinite(const float* from, float* to, std::size_t count) {
  constexpr std::size_t kAtATime = 16;
  std::array<float, kAtATime> peaks{};
  std::size_t i = 0;
  for (; i + kAtATime <= count; i += kAtATime) {
    for (std::size_t k = 0; k < kAtATime; ++k) copyFinite(from[i + k], to[i + k], peaks[k]);
  }
  for (; i < count; ++i) copyFinite(from[i], to[i], peaks[0]);
  return *std::max_element(peaks.begin(), peaks.end());
}

std::uint32_t levelOf(float peak) {
  return static_cast<std::uint32_t>(std::min(peak, 1.0f) * static_cast<float>(kFullScale));
}

}  // namespace

RoutingMatrix::RoutingMatrix()
    : sources_(pack(sourcesOf({}))),
      intakes_(std::make_unique<std::array<Intake, 2>>()),
      now_(&(*intakes_)[0]),
      past_(&(*intakes_)[1]) {}

void RoutingMatrix::set(const AudioState& state) {
  sources_.store(pack(sourcesOf(state)), std::memory_order_relaxed);
}

InputLevels RoutingMatrix::takeInputLevels() {
  InputLevels levels;
  for (std::size_t i = 0; i < levels.size(); ++i) levels[i] = levelOf(peaks_[i].exchange(0));
  return levels;
}

OutputLevels RoutingMatrix::takeOutputLevels() {
  OutputLevels levels;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    levels[i] = levelOf(peaks_[kInputChannels + i].exchange(0));
  }
  return levels;
}

void RoutingMatrix::play(const Cycle& cycle, std::size_t frames,
                         std::span<float* const, kOutputChannels> channels) {
  put(cycle, frames, 0, channels);
}

void RoutingMatrix::receive(const Cycle& cycle, std::size_t frames,
                            std::span<float* const, kJackInputs> channels) {
  put(cycle, frames, kOutputChannels, channels);
}

void RoutingMatrix::capture(const Cycle& cycle, std::size_t frames,
                            std::span<float* const, kInputChannels> channels) {
  take(cycle, frames, 0, channels);
}

void RoutingMatrix::send(const Cycle& cycle, std::size_t frames,
                         std::span<float* const, kOutputChannels> channels) {
  take(cycle, frames, kInputPairs, channels);
}

RoutingMatrix::Sources RoutingMatrix::sourcesOf(const AudioState& state) {
  Sources sources;
  if (!state.streams) {
    sources.fill(kSilence);
    return sources;
  }
  auto next = sources.begin();
  for (const std::int32_t value : state.routings.inputs) *next++ = inputSource(state, value);
  for (const std::int32_t value : state.routings.outputs) *next++ = outputSource(state, value);
  return sources;
}

std::uint32_t RoutingMatrix::pack(const Sources& sources) {
  std::uint32_t packed = 0;
  for (const std::uint8_t source : sources) packed = packed << kSourceBits | source;
  return packed;
}

RoutingMatrix::Sources RoutingMatrix::unpack(std::uint32_t packed) {
  Sources sources;
  for (std::size_t i = sources.size(); i > 0; --i) {
    sources[i - 1] = packed & ((1u << kSourceBits) - 1);
    packed >>= kSourceBits;
  }
  return sources;
}

// The first node of a cycle that is processed begins it for all.
void RoutingMatrix::begin(const Cycle& cycle) {
  if (now_->cycle == cycle) return;
  std::swap(now_, past_);
  follows_ = past_->cycle.frames != 0 && past_->cycle.frames <= kMaximumFrames &&
             past_->cycle.position + past_->cycle.frames == cycle.position &&
             past_->cycle.rate == cycle.rate;
  now_->cycle = cycle;
  now_->filled = 0;
  now_->sources = unpack(sources_.load(std::memory_order_relaxed));
  now_->fadeFrom = follows_ ? past_->sources : now_->sources;
  now_->kept = 0;
  for (const std::uint8_t source : now_->sources) now_->kept |= 1u << source;
  for (const std::uint8_t source : now_->fadeFrom) now_->kept |= 1u << source;
}

void RoutingMatrix::put(const Cycle& cycle, std::size_t frames, std::size_t firstChannel,
                        std::span<float* const> channels) {
  begin(cycle);
  if (frames != cycle.frames || frames > kMaximumFrames) return;
  Intake& intake = *now_;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const std::size_t channel = firstChannel + i;
    if (!channels[i] || !(intake.kept >> channel / 2 & 1)) continue;
    float* samples = intake.samples[channel].data();
    const float peak = copyFinite(channels[i], samples, frames);
    intake.filled |= 1u << channel;
    measure(intake, channel, peak);
  }
}

void RoutingMatrix::take(const Cycle& cycle, std::size_t frames, std::size_t firstPair,
                         std::span<float* const> channels) {
  begin(cycle);
  const Intake& intake = *past_;
  // After the cycles have become longer there is silence first; after they have become shorter, the
  // oldest samples are left out.
  const bool continues = follows_ && frames == cycle.frames;
  const std::size_t count = continues ? std::min(frames, intake.cycle.frames) : 0;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    if (!channels[i]) continue;
    std::fill_n(channels[i], frames - count, 0.0f);
    fill({channels[i] + frames - count, count}, intake, firstPair + i / 2, i % 2);
  }
}

// The last samples of the intake, for one side of a pair.
void RoutingMatrix::fill(std::span<float> target, const Intake& intake, std::size_t pair,
                         std::size_t side) const {
  static constexpr std::array<float, kMaximumFrames> kNothing{};
  const auto samplesOf = [&](const Sources& sources) {
    const std::size_t channel = 2 * std::size_t{sources[pair]} + side;
    return intake.filled >> channel & 1
               ? intake.samples[channel].data() + intake.cycle.frames - target.size()
               : kNothing.data();
  };
  const float* samples = samplesOf(intake.sources);
  std::copy_n(samples, target.size(), target.data());
  const float* before = samplesOf(intake.fadeFrom);
  if (before == samples) return;
  const std::size_t length = std::min(target.size(), kFadeFrames);
  for (std::size_t i = 0; i < length; ++i) {
    const float part = static_cast<float>(i + 1) / static_cast<float>(length + 1);
    target[i] = before[i] * (1 - part) + samples[i] * part;  // a difference may be infinite
  }
}

void RoutingMatrix::measure(const Intake& intake, std::size_t channel, float peak) {
  for (std::size_t pair = 0; pair < intake.sources.size(); ++pair) {
    if (intake.sources[pair] != channel / 2) continue;
    std::atomic<float>& highest = peaks_[2 * pair + channel % 2];
    // Only this thread raises it. A level that is taken in between is stored for the next reader.
    if (peak > highest.load(std::memory_order_relaxed)) {
      highest.store(peak, std::memory_order_relaxed);
    }
  }
}

}  // namespace driver
