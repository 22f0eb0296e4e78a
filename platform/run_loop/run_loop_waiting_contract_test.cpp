// SPDX-License-Identifier: MIT
// The contract of the run loops that watch descriptors and wait, which the programs use.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "platform/run_loop/run_loop.h"
#include "platform/run_loop/run_loop_contract_source.h"

namespace {

using Source = run_loop_contract::CountingSource;
using Seconds = std::chrono::duration<double>;

class WaitingRunLoop : public testing::Test {
 protected:
  void SetUp() override { CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode); }
  void TearDown() override { CFRunLoopRemoveSource(loop, source, kCFRunLoopDefaultMode); }

  CFRunLoopRef loop = CFRunLoopGetCurrent();
  std::shared_ptr<Source> source = std::make_shared<Source>();
};

TEST_F(WaitingRunLoop, WaitsForASourceToBecomeReady) {
  source->onWork([&] { CFRunLoopStop(loop); });
  std::thread device([&] { source->signal(); });
  EXPECT_TRUE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_contract::kLimit));
  device.join();
  EXPECT_EQ(source->workDone(), 1);
}

TEST_F(WaitingRunLoop, PerformsASourceAsOftenAsItBecomesReady) {
  source->onWork([&] { source->workDone() < 3 ? source->signal() : CFRunLoopStop(loop); });
  source->signal();
  EXPECT_TRUE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_contract::kLimit));
  EXPECT_EQ(source->workDone(), 3);
}

TEST_F(WaitingRunLoop, EndsAfterTheGivenTime) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.05));
  EXPECT_GE(Seconds(std::chrono::steady_clock::now() - start).count(), 0.049);
}

TEST_F(WaitingRunLoop, NestedRunsEndEachByItself) {
  bool innerStopped = true;
  source->onWork([&] {
    if (source->workDone() == 1) {
      innerStopped = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01);
      source->signal();
    } else {
      CFRunLoopStop(loop);
    }
  });
  source->signal();
  EXPECT_TRUE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_contract::kLimit));
  EXPECT_FALSE(innerStopped);
  EXPECT_EQ(source->workDone(), 2);
}

TEST_F(WaitingRunLoop, AStopWithinANestedRunLeavesTheOuterOneRunning) {
  source->onWork([&] {
    switch (source->workDone()) {
      case 1:
        source->signal();
        EXPECT_TRUE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_contract::kLimit));
        source->signal();
        break;
      default:
        CFRunLoopStop(loop);
    }
  });
  source->signal();
  EXPECT_TRUE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_contract::kLimit));
  EXPECT_EQ(source->workDone(), 3);
}

}  // namespace
