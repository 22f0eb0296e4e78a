// SPDX-License-Identifier: MIT
// Routings and levels on the driver's thread, audio on PipeWire's data thread. The thread sanitizer
// then reports data that they share without protection.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "driver/audio_node/routing_matrix.h"

namespace driver {
namespace {

constexpr int kCycles = 10000;
constexpr int kChanges = 10000;
constexpr std::size_t kFrames = 64;

template <std::size_t kCount>
std::array<float*, kCount> pointers(std::array<std::vector<float>, kCount>& channels) {
  std::array<float*, kCount> result{};
  for (std::size_t i = 0; i < kCount; ++i) {
    channels[i].assign(kFrames, 0.5f);
    result[i] = channels[i].data();
  }
  return result;
}

TEST(RoutingMatrixThreads, RoutingsAndLevelsWhileAudioRuns) {
  RoutingMatrix matrix;
  std::atomic<int> cycles = 0;
  std::atomic<bool> ended = false;
  std::thread audio([&] {
    std::array<std::vector<float>, kOutputChannels> played;
    std::array<std::vector<float>, kInputChannels> captured;
    const auto out = pointers(played);
    const auto in = pointers(captured);
    for (; !ended; ++cycles) {
      const Cycle cycle = {static_cast<std::uint64_t>(cycles) * kFrames, kFrames};
      matrix.play(cycle, kFrames, out);
      matrix.capture(cycle, kFrames, in);
    }
  });
  std::uint32_t highest = 0;
  for (std::int32_t i = 0; i < kChanges || cycles < kCycles; ++i) {
    matrix.set({{{0, 1}, {i % kInputSources, 1, 2}}, 48000, true, true});
    highest = std::max(highest, matrix.takeOutputLevels()[0]);
    EXPECT_LE(matrix.takeInputLevels()[0], kFullScale / 2);
  }
  ended = true;
  audio.join();
  EXPECT_EQ(std::max(highest, matrix.takeOutputLevels()[0]), kFullScale / 2);
}

}  // namespace
}  // namespace driver
