// SPDX-License-Identifier: MIT
#include "driver/audio_node/loopback.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using driver::kCaptureChannels;
using driver::kPlaybackChannels;
using testing::Each;

constexpr std::size_t kFrames = 4;
constexpr RoutingRecords kAnalog{{{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 1, 0}, {1, 2, 0}}};

class LoopbackTest : public testing::Test {
 protected:
  using Samples = std::vector<float>;

  LoopbackTest() {
    for (std::size_t i = 0; i < playback_.size(); ++i) {
      playback_[i] = Samples(kFrames, static_cast<float>(i + 1));
      playbackPointers_[i] = playback_[i].data();
    }
    for (std::size_t i = 0; i < capture_.size(); ++i) {
      capture_[i] = Samples(kFrames, -1.0f);
      capturePointers_[i] = capture_[i].data();
    }
  }

  void process() { loopback_.process(playbackPointers_, capturePointers_, kFrames); }

  // The first sample of each capture channel.
  std::vector<float> captured() const {
    std::vector<float> result;
    for (const Samples& channel : capture_) {
      EXPECT_THAT(channel, Each(channel.front()));
      result.push_back(channel.front());
    }
    return result;
  }

  driver::Loopback loopback_;
  std::array<Samples, kPlaybackChannels> playback_;
  std::array<Samples, kCaptureChannels> capture_;
  std::array<const float*, kPlaybackChannels> playbackPointers_{};
  std::array<float*, kCaptureChannels> capturePointers_{};
};

TEST_F(LoopbackTest, EveryOtherSourceIsSilent) {
  for (const std::int32_t source : {0, 1, 2, 4, -1}) {
    RoutingRecords records = kAnalog;
    for (RoutingRecord& record : records) record.value = source;
    loopback_.setRoutings(records);
    process();
    EXPECT_EQ(captured(), (std::vector<float>{0, 0, 0, 0, 0, 0})) << source;
  }
}

TEST_F(LoopbackTest, EachInputPairCanGiveBackTheFirstTwoPlaybackChannels) {
  for (std::size_t pair = 0; pair < 3; ++pair) {
    RoutingRecords records = kAnalog;
    records[2 + pair].value = kFromLoopback;
    loopback_.setRoutings(records);
    process();
    std::vector<float> expected(6, 0.0f);
    expected[2 * pair] = 1.0f;
    expected[2 * pair + 1] = 2.0f;
    EXPECT_EQ(captured(), expected) << pair;
  }
}

TEST_F(LoopbackTest, OutputRoutingsDoNotFeedTheCapture) {
  RoutingRecords records = kAnalog;
  records[0].value = kFromLoopback;
  records[1].value = kFromLoopback;
  loopback_.setRoutings(records);
  process();
  EXPECT_EQ(captured(), (std::vector<float>{0, 0, 0, 0, 0, 0}));
}

TEST_F(LoopbackTest, APairThatDoesNotExistIsIgnored) {
  for (const std::int32_t pair : {-1, 3, 40}) {
    RoutingRecords records = kAnalog;
    records[4] = {1, pair, kFromLoopback};
    loopback_.setRoutings(records);
    process();
    EXPECT_EQ(captured(), (std::vector<float>{0, 0, 0, 0, 0, 0}));
  }
}

TEST_F(LoopbackTest, ChannelsWithoutABufferAreLeftOut) {
  RoutingRecords records = kAnalog;
  records[2].value = kFromLoopback;
  loopback_.setRoutings(records);
  playbackPointers_[1] = nullptr;
  capturePointers_[3] = nullptr;
  process();
  EXPECT_EQ(captured(), (std::vector<float>{1, 0, 0, -1, 0, 0}));
}

}  // namespace
