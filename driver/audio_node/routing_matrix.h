// SPDX-License-Identifier: MIT
// Carries the interface's samples from where they come in to where they go out, as the routings
// say, and measures their peaks.
//
// Samples come in as the playback channels and the jacks' inputs, and go out as the capture
// channels and the jacks' outputs. What comes in during one cycle of the graph goes out in the
// next, so the order of the graph's nodes within a cycle does not matter.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "driver/interface.h"

namespace driver {

// The inputs' jacks: analog 1 to 4, digital 1 and 2.
inline constexpr std::size_t kJackInputs = 6;

// One cycle of the graph, by the position of its first sample.
struct Cycle {
  std::uint64_t position = 0;
  std::size_t frames = 0;
  std::uint32_t rate = 0;  // Hz

  bool operator==(const Cycle&) const = default;
};

// set() and the levels are for the owner's thread, the rest is for PipeWire's data thread, which
// neither waits nor allocates. The two share atomics only.
class RoutingMatrix {
 public:
  // Longer cycles are silent.
  static constexpr std::size_t kMaximumFrames = 8192;
  // A changed routing fades over so many samples, or over the period when it is shorter, so that
  // the change makes no click.
  static constexpr std::size_t kFadeFrames = 64;

  RoutingMatrix();
  RoutingMatrix(const RoutingMatrix&) = delete;
  RoutingMatrix& operator=(const RoutingMatrix&) = delete;

  // Takes effect with what comes in from the next cycle on, which is heard one period later.
  void set(const AudioState& state);

  // The peak of each channel since the last call, full scale kFullScale. A capture channel shows
  // what is routed to it, also while nobody captures.
  InputLevels takeInputLevels();
  OutputLevels takeOutputLevels();

  // --- The data thread. Channels that have no buffer are null. ---

  // `frames` samples have come in on each channel. They are silent when the cycle has another
  // number of frames, as with samples of another rate than the graph's. Infinities and NaNs become
  // silence.
  void play(const Cycle& cycle, std::size_t frames,
            std::span<float* const, kOutputChannels> channels);
  void receive(const Cycle& cycle, std::size_t frames,
               std::span<float* const, kJackInputs> channels);

  // Fill `frames` samples of each channel, with silence when the cycle has another number.
  void capture(const Cycle& cycle, std::size_t frames,
               std::span<float* const, kInputChannels> channels);
  void send(const Cycle& cycle, std::size_t frames,
            std::span<float* const, kOutputChannels> channels);

 private:
  // Every channel that comes in: playback, then jacks. A pair of them is a source.
  static constexpr std::size_t kSourceChannels = kOutputChannels + kJackInputs;
  // Every pair that goes out: capture, then jacks, each with its source.
  static constexpr std::size_t kTargetPairs = kInputPairs + kOutputPairs;
  using Sources = std::array<std::uint8_t, kTargetPairs>;

  // What came in during one cycle.
  struct Intake {
    Cycle cycle;
    Sources sources{};       // of its samples
    Sources fadeFrom{};      // the sources before; the same without a change
    std::uint32_t kept{};    // bit N: a target takes source N
    std::uint32_t filled{};  // bit N: channel N has come in
    std::array<std::array<float, kMaximumFrames>, kSourceChannels> samples;
  };

  static Sources sourcesOf(const AudioState& state);
  static std::uint32_t pack(const Sources& sources);
  static Sources unpack(std::uint32_t packed);

  void begin(const Cycle& cycle);
  void put(const Cycle& cycle, std::size_t frames, std::size_t firstChannel,
           std::span<float* const> channels);
  void take(const Cycle& cycle, std::size_t frames, std::size_t firstPair,
            std::span<float* const> channels);
  void fill(std::span<float> target, const Intake& intake, std::size_t pair,
            std::size_t side) const;
  void measure(const Intake& intake, std::size_t channel, float peak);

  std::atomic<std::uint32_t> sources_;
  std::array<std::atomic<float>, 2 * kTargetPairs> peaks_{};

  // Used by the data thread only. The present cycle's intake and the one before take turns.
  std::unique_ptr<std::array<Intake, 2>> intakes_;
  Intake* now_;
  Intake* past_;
  bool follows_ = false;  // the present cycle follows the one before without a gap
};

}  // namespace driver
