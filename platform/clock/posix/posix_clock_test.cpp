// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>

#include "platform/clock/clock.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::atomic<int> interruptions{0};

TEST(PosixClock, APauseLastsAtLeastItsTime) {
  const auto start = steady_clock::now();
  platform::usleep(20'000);
  EXPECT_GE(steady_clock::now() - start, milliseconds(20));
}

TEST(PosixClock, ASignalDoesNotShortenAPause) {
  struct sigaction interrupt {};
  interrupt.sa_handler = [](int) { ++interruptions; };
  struct sigaction previous {};
  ASSERT_EQ(sigaction(SIGALRM, &interrupt, &previous), 0);
  const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &everyMillisecond, nullptr), 0);
  const auto start = steady_clock::now();
  platform::usleep(50'000);
  EXPECT_GE(steady_clock::now() - start, milliseconds(50));
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &previous, nullptr);
  EXPECT_GT(interruptions, 0);
}

}  // namespace
