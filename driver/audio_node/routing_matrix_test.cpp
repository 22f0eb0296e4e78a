// SPDX-License-Identifier: MIT
#include "driver/audio_node/routing_matrix.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <vector>

namespace {

// Counts what a thread that must not wait does wrong, while `counts` is set on it.
thread_local bool counts = false;
thread_local int allocations = 0;
thread_local int locks = 0;

void* allocate(std::size_t size) {
  if (counts) ++allocations;
  return std::malloc(size);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

// In place of the C library's.
extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  using Lock = int (*)(pthread_mutex_t*);
  static const auto lock = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  if (counts) ++locks;
  return lock(mutex);
}

namespace driver {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

using Samples = std::vector<float>;

constexpr Routings kStraight = {{kFromPlayback12, kFromPlayback34},
                                {kFromAnalog12, kFromAnalog34, kFromDigital}};
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// What comes in on playback channel N is N + 1, on jack N it is 10 * (N + 1).
constexpr float kPlayed[] = {1, 2, 3, 4};
constexpr float kReceived[] = {10, 20, 30, 40, 50, 60};

class Matrix : public testing::Test {
 protected:
  Matrix() { set(kStraight); }

  void set(const Routings& routings, bool hearsDigitalInput = true, bool streams = true) {
    matrix_.set({routings, 48000, hearsDigitalInput, streams});
  }

  // One cycle of the graph after the one before.
  void cycle(std::size_t frames) {
    cycle_.position += cycle_.frames;
    cycle_.frames = frames;
    if (sourcesFirst_) takeOut();
    if (plays_) matrix_.play(cycle_, frames, pointers<kOutputChannels>(played_));
    if (receives_) matrix_.receive(cycle_, frames, pointers<kJackInputs>(received_));
    if (!sourcesFirst_) takeOut();
  }

  // So that no fade is left.
  void settle(std::size_t frames = 256) {
    for (int i = 0; i < 3; ++i) cycle(frames);
  }

  // The last sample of each channel.
  Samples captured() const { return lastOf(captured_); }
  Samples sent() const { return lastOf(sent_); }

  template <std::size_t kCount>
  static std::array<Samples, kCount> channelsOf(const float (&values)[kCount]) {
    std::array<Samples, kCount> channels;
    for (std::size_t i = 0; i < kCount; ++i) {
      channels[i] = Samples(RoutingMatrix::kMaximumFrames, values[i]);
    }
    return channels;
  }

  RoutingMatrix matrix_;
  Cycle cycle_{1000, 0, 48000};
  bool sourcesFirst_ = false;
  bool plays_ = true;
  bool receives_ = true;
  std::array<Samples, kOutputChannels> played_ = channelsOf(kPlayed);
  std::array<Samples, kJackInputs> received_ = channelsOf(kReceived);
  std::array<Samples, kInputChannels> captured_;
  std::array<Samples, kOutputChannels> sent_;

  template <std::size_t kCount>
  static std::array<float*, kCount> pointers(std::array<Samples, kCount>& channels) {
    std::array<float*, kCount> result;
    for (std::size_t i = 0; i < kCount; ++i) result[i] = channels[i].data();
    return result;
  }

 private:
  template <std::size_t kCount>
  static Samples lastOf(const std::array<Samples, kCount>& channels) {
    Samples result;
    for (const Samples& channel : channels) result.push_back(channel.back());
    return result;
  }

  void takeOut() {
    for (Samples& channel : captured_) channel.assign(cycle_.frames, -1);
    for (Samples& channel : sent_) channel.assign(cycle_.frames, -1);
    matrix_.capture(cycle_, cycle_.frames, pointers<kInputChannels>(captured_));
    matrix_.send(cycle_, cycle_.frames, pointers<kOutputChannels>(sent_));
  }
};

TEST_F(Matrix, EachInputPairTakesEachSource) {
  const std::array<Samples, kInputSources> sources = {{{10, 20}, {30, 40}, {50, 60}, {1, 2}}};
  for (std::size_t pair = 0; pair < kInputPairs; ++pair) {
    for (std::int32_t source = 0; source < kInputSources; ++source) {
      Routings routings = kStraight;
      routings.inputs[pair] = source;
      set(routings);
      settle();
      Samples expected = {10, 20, 30, 40, 50, 60};
      std::copy_n(sources[static_cast<std::size_t>(source)].begin(), 2,
                  expected.begin() + static_cast<std::ptrdiff_t>(2 * pair));
      EXPECT_THAT(captured(), ElementsAreArray(expected)) << pair << " " << source;
      EXPECT_THAT(sent(), ElementsAre(1, 2, 3, 4));
    }
  }
}

TEST_F(Matrix, EachOutputPairTakesEachSource) {
  const std::array<Samples, kOutputSources> sources = {
      {{1, 2}, {3, 4}, {30, 40}, {1, 2}, {50, 60}}};
  for (std::size_t pair = 0; pair < kOutputPairs; ++pair) {
    for (std::int32_t source = 0; source < kOutputSources; ++source) {
      Routings routings = {{kFromPlayback12, kFromPlayback34},
                           {kFromAnalog34, kFromLoopback, kFromDigital}};
      routings.outputs[pair] = source;
      set(routings);
      settle();
      Samples expected = {1, 2, 3, 4};
      std::copy_n(sources[static_cast<std::size_t>(source)].begin(), 2,
                  expected.begin() + static_cast<std::ptrdiff_t>(2 * pair));
      EXPECT_THAT(sent(), ElementsAreArray(expected)) << pair << " " << source;
    }
  }
}

TEST_F(Matrix, ASourceThatDoesNotExistIsSilent) {
  set({{-1, 5}, {4, -1, 77}});
  settle();
  EXPECT_THAT(captured(), Each(0));
  EXPECT_THAT(sent(), Each(0));
}

TEST_F(Matrix, ADigitalInputWithoutAValidSignalIsSilent) {
  set({{kFromInput56, kFromPlayback34}, kStraight.inputs}, false);
  settle();
  EXPECT_THAT(captured(), ElementsAre(10, 20, 30, 40, 0, 0));
  EXPECT_THAT(sent(), ElementsAre(0, 0, 3, 4));
}

TEST_F(Matrix, SuspendedStreamingIsSilent) {
  set(kStraight, true, false);
  settle();
  EXPECT_THAT(captured(), Each(0));
  EXPECT_THAT(sent(), Each(0));
}

// Samples that count up show what became of each of them.
TEST_F(Matrix, WhatComesInGoesOutOneCycleLaterWhicheverNodeIsFirst) {
  for (const bool sourcesFirst : {false, true}) {
    sourcesFirst_ = sourcesFirst;
    settle(16);
    for (int i = 0; i < 16; ++i) received_[0][static_cast<std::size_t>(i)] = static_cast<float>(i);
    cycle(16);
    const Samples sent(received_[0].begin(), received_[0].begin() + 16);
    received_[0].assign(received_[0].size(), 10);
    EXPECT_THAT(captured_[0], Each(10));
    cycle(16);
    EXPECT_EQ(captured_[0], sent);
  }
}

TEST_F(Matrix, CyclesOfAnyLengthAreCarried) {
  for (const std::size_t frames : {1u, 15u, 16u, 17u, 1024u, 8192u}) {
    settle(frames);
    EXPECT_THAT(captured_[0], Each(10)) << frames;
    EXPECT_THAT(captured_[0], testing::SizeIs(frames));
  }
}

TEST_F(Matrix, LongerCyclesBeginWithSilenceAndRepeatNothing) {
  settle(64);
  cycle(256);
  EXPECT_THAT(Samples(captured_[0].begin(), captured_[0].begin() + 192), Each(0));
  EXPECT_THAT(Samples(captured_[0].begin() + 192, captured_[0].end()), Each(10));
  cycle(256);
  EXPECT_THAT(captured_[0], Each(10));
}

TEST_F(Matrix, ShorterCyclesContinueWithTheLatestSamples) {
  settle(256);
  for (std::size_t i = 0; i < 256; ++i) received_[0][i] = static_cast<float>(i);
  cycle(256);
  cycle(64);
  EXPECT_EQ(captured_[0].front(), 192);
  EXPECT_EQ(captured_[0].back(), 255);
}

TEST_F(Matrix, AGapIsSilent) {
  settle();
  cycle_.position += 1;
  cycle(256);
  EXPECT_THAT(captured_[0], Each(0));
  cycle(256);
  EXPECT_THAT(captured_[0], Each(10));
}

TEST_F(Matrix, TheFirstCycleAtAnotherRateIsSilent) {
  settle();
  cycle_.rate = 44100;
  cycle(256);
  EXPECT_THAT(captured_[0], Each(0));
  cycle(256);
  EXPECT_THAT(captured_[0], Each(10));
}

TEST_F(Matrix, CyclesThatAreTooLongAreSilent) {
  settle();
  for (int i = 0; i < 2; ++i) {
    cycle_.position += cycle_.frames;
    cycle_.frames = RoutingMatrix::kMaximumFrames + 1;
    Samples samples(cycle_.frames, 1);
    std::array<float*, kOutputChannels> channels{};
    channels[0] = samples.data();
    matrix_.play(cycle_, cycle_.frames, channels);
    matrix_.send(cycle_, cycle_.frames, channels);
    EXPECT_THAT(samples.back(), i == 0 ? 1 : 0);
  }
}

TEST_F(Matrix, ASinkThatDoesNotRunIsSilent) {
  settle();
  plays_ = false;
  cycle(256);
  EXPECT_THAT(sent(), ElementsAre(1, 2, 3, 4));
  cycle(256);
  EXPECT_THAT(sent(), Each(0));
  EXPECT_THAT(captured(), ElementsAre(10, 20, 30, 40, 50, 60));
}

TEST_F(Matrix, AChannelWithoutABufferIsSilent) {
  settle();
  cycle_.position += cycle_.frames;
  std::array<float*, kOutputChannels> channels = {played_[0].data(), played_[1].data(), nullptr,
                                                  played_[3].data()};
  matrix_.play(cycle_, 256, channels);
  plays_ = false;
  cycle(256);
  EXPECT_THAT(sent(), ElementsAre(1, 2, 0, 4));
  EXPECT_THAT(sent_[2], Each(0));
}

// Samples of another rate than the graph's: filling them up would make them wrong.
TEST_F(Matrix, ABufferOfAnotherLengthThanTheCycleIsSilent) {
  for (const std::size_t frames : {235u, 279u}) {
    settle();
    cycle_.position += cycle_.frames;
    matrix_.play(cycle_, frames, pointers<kOutputChannels>(played_));
    matrix_.receive(cycle_, 256, pointers<kJackInputs>(received_));
    cycle_.position += cycle_.frames;
    for (Samples& channel : captured_) channel.assign(frames, -1);
    matrix_.capture(cycle_, frames, pointers<kInputChannels>(captured_));
    matrix_.send(cycle_, 256, pointers<kOutputChannels>(sent_));
    for (const Samples& channel : captured_) EXPECT_THAT(channel, Each(0)) << frames;
    for (const Samples& channel : sent_) EXPECT_THAT(channel, Each(0)) << frames;
  }
}

TEST_F(Matrix, InfinitiesAndNaNsAreSilence) {
  settle();
  const Samples odd = {kInfinity, -kInfinity, NAN, -NAN, std::numeric_limits<float>::denorm_min(),
                       -0.5f,     2.0f};
  std::copy(odd.begin(), odd.end(), received_[0].begin());
  matrix_.takeInputLevels();
  cycle(7);
  EXPECT_EQ(matrix_.takeInputLevels()[0], kFullScale);
  cycle(7);
  EXPECT_THAT(captured_[0], ElementsAre(0, 0, 0, 0, odd[4], -0.5f, 2.0f));
}

// The largest step between two samples of a channel that keeps its value.
float largestStep(const Samples& samples, float before) {
  float largest = 0;
  for (const float sample : samples) {
    largest = std::max(largest, std::abs(sample - std::exchange(before, sample)));
  }
  return largest;
}

TEST_F(Matrix, AChangedRoutingFadesOver) {
  settle();
  Routings routings = kStraight;
  routings.inputs[0] = kFromDigital;
  routings.outputs[1] = kFromInput34;
  set(routings);
  cycle(256);
  EXPECT_THAT(captured_[0], Each(10));
  cycle(256);
  EXPECT_EQ(captured_[0].back(), 50);
  EXPECT_LE(largestStep(captured_[0], 10), 40.0f / RoutingMatrix::kFadeFrames);
  EXPECT_EQ(sent_[3].back(), 40);
  EXPECT_LE(largestStep(sent_[3], 4), 36.0f / RoutingMatrix::kFadeFrames);
  cycle(256);
  EXPECT_THAT(captured_[0], Each(50));
}

TEST_F(Matrix, ARoutingThatChangesInEveryCycleFadesOverInEach) {
  settle();
  float last = 10;
  for (int i = 0; i < 100; ++i) {
    Routings routings = kStraight;
    routings.inputs[0] = i % kInputSources;
    set(routings);
    cycle(48);
    EXPECT_LE(largestStep(captured_[0], last), 49.0f / 48) << i;
    last = captured_[0].back();
  }
}

TEST_F(Matrix, TheLargestSamplesFadeOverWithoutAnInfinity) {
  constexpr float kLargest = std::numeric_limits<float>::max();
  received_[0].assign(received_[0].size(), -kLargest);
  received_[2].assign(received_[2].size(), kLargest);
  settle();
  Routings routings = kStraight;
  routings.inputs[0] = kFromAnalog34;
  set(routings);
  cycle(256);
  cycle(256);
  EXPECT_THAT(captured_[0],
              Each(testing::Truly([](float sample) { return std::isfinite(sample); })));
  EXPECT_EQ(captured_[0].back(), kLargest);
}

TEST_F(Matrix, ChannelsThatNoRoutingTakesAreNotRead) {
  set({{kFromPlayback12, kFromPlayback12}, {kFromDigital, kFromDigital, kFromDigital}});
  settle();
  // Memory that cannot be read.
  float* const unreadable = reinterpret_cast<float*>(16);
  cycle_.position += cycle_.frames;
  matrix_.play(cycle_, 256,
               std::array<float*, 4>{played_[0].data(), played_[1].data(), unreadable, unreadable});
  matrix_.receive(cycle_, 256,
                  std::array<float*, 6>{unreadable, unreadable, unreadable, unreadable,
                                        received_[4].data(), received_[5].data()});
  plays_ = receives_ = false;
  cycle(256);
  EXPECT_THAT(captured(), ElementsAre(50, 60, 50, 60, 50, 60));
}

// --- Levels ---

TEST_F(Matrix, LevelsAreThePeaksOfWhatIsRouted) {
  played_ = channelsOf({0.5f, -0.25f, 0.125f, 0.0f});
  received_ = channelsOf({1.0f, 0.0f, 0.0f, 0.0f, -2.0f, 0.0f});
  settle();
  EXPECT_THAT(matrix_.takeInputLevels(), ElementsAre(kFullScale, 0, 0, 0, kFullScale, 0));
  EXPECT_THAT(matrix_.takeOutputLevels(),
              ElementsAre(kFullScale / 2, kFullScale / 4, kFullScale / 8, 0));
}

TEST_F(Matrix, LevelsArePeaksSinceTheyWereLastTaken) {
  played_ = channelsOf({0.0f, 0.0f, 0.0f, 0.0f});
  settle();
  matrix_.takeOutputLevels();
  played_[0][77] = -0.5f;
  cycle(256);
  played_[0][77] = 0.25f;
  cycle(256);
  matrix_.takeInputLevels();
  EXPECT_THAT(matrix_.takeOutputLevels(), ElementsAre(kFullScale / 2, 0, 0, 0));
  EXPECT_THAT(matrix_.takeOutputLevels(), Each(0));
  cycle(256);
  EXPECT_THAT(matrix_.takeOutputLevels(), ElementsAre(kFullScale / 4, 0, 0, 0));
}

TEST_F(Matrix, LevelsOfAnInputShowWhereverItIsRouted) {
  set({{kFromInput12, kFromInput12}, {kFromLoopback, kFromLoopback, kFromDigital}});
  played_ = channelsOf({0.5f, 0.25f, 1.0f, 1.0f});
  received_ = channelsOf({1, 1, 1, 1, 0, 0});
  settle();
  constexpr std::uint32_t kHalf = kFullScale / 2;
  constexpr std::uint32_t kQuarter = kFullScale / 4;
  EXPECT_THAT(matrix_.takeInputLevels(), ElementsAre(kHalf, kQuarter, kHalf, kQuarter, 0, 0));
  EXPECT_THAT(matrix_.takeOutputLevels(), ElementsAre(kHalf, kQuarter, kHalf, kQuarter));
}

TEST_F(Matrix, NothingIsMeasuredWithoutAudioNorWhileStreamingIsSuspended) {
  EXPECT_THAT(matrix_.takeInputLevels(), Each(0));
  set(kStraight, true, false);
  settle();
  EXPECT_THAT(matrix_.takeInputLevels(), Each(0));
  EXPECT_THAT(matrix_.takeOutputLevels(), Each(0));
}

// --- The data thread ---

// From now on every system call of this thread ends the process, but those by which a thread ends.
bool forbidSystemCalls() {
  constexpr auto kNumber = static_cast<std::uint32_t>(offsetof(seccomp_data, nr));
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kNumber),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
  };
  const sock_fprog program = {static_cast<unsigned short>(std::size(filter)), filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

class MatrixOnTheDataThread : public Matrix {
 protected:
  // Cycles of audio while every routing changes.
  void run() {
    for (std::int32_t i = 0; i < 1000; ++i) {
      cycle_.position += cycle_.frames;
      cycle_.frames = 256;
      set({{i % kOutputSources, i / 2 % kOutputSources},
           {i % kInputSources, i / 2 % kInputSources, i / 3 % kInputSources}},
          i % 7 != 0, i % 11 != 0);
      matrix_.play(cycle_, 256, played);
      matrix_.capture(cycle_, 256, captured);
      matrix_.receive(cycle_, 256, received);
      matrix_.send(cycle_, 256, sent);
    }
  }

  std::vector<Samples> memory_ = std::vector<Samples>(20, Samples(256, 0.5f));
  std::array<float*, 4> played = {memory_[0].data(), memory_[1].data(), memory_[2].data(),
                                  memory_[3].data()};
  std::array<float*, 6> received = {memory_[4].data(), memory_[5].data(), memory_[6].data(),
                                    memory_[7].data(), memory_[8].data(), memory_[9].data()};
  std::array<float*, 6> captured = {memory_[10].data(), memory_[11].data(), memory_[12].data(),
                                    memory_[13].data(), memory_[14].data(), memory_[15].data()};
  std::array<float*, 4> sent = {memory_[16].data(), memory_[17].data(), memory_[18].data(),
                                memory_[19].data()};
};

TEST_F(MatrixOnTheDataThread, AllocatesAndLocksNothing) {
  // The counters count.
  counts = true;
  ::operator delete(::operator new(4));  // a compiler may leave out new and delete of an object
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&mutex);
  pthread_mutex_unlock(&mutex);
  EXPECT_EQ(std::exchange(allocations, 0), 1);
  EXPECT_EQ(std::exchange(locks, 0), 1);
  run();
  counts = false;
  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(locks, 0);
}

TEST_F(MatrixOnTheDataThread, MakesNoSystemCall) {
  EXPECT_EXIT(
      {
        run();  // the sanitizers look at each type once, by system calls
        if (!forbidSystemCalls()) std::abort();
        run();
        ::syscall(SYS_exit_group, 0);  // before _exit() the address sanitizer makes a call
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        if (!forbidSystemCalls()) std::abort();
        ::getppid();
        _exit(0);
      },
      testing::KilledBySignal(SIGSYS), "");
}

}  // namespace
}  // namespace driver
