#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

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
  sigaction(SIGUSR1, &interrupt, nullptr);
  const pthread_t sleeper = pthread_self();
  std::atomic<bool> over{false};
  std::thread interrupter([&] {
    while (!over) {
      pthread_kill(sleeper, SIGUSR1);
      std::this_thread::sleep_for(milliseconds(1));
    }
  });
  const auto start = steady_clock::now();
  platform::usleep(50'000);
  EXPECT_GE(steady_clock::now() - start, milliseconds(50));
  over = true;
  interrupter.join();
  EXPECT_GT(interruptions, 0);
}

}  // namespace
