// SPDX-License-Identifier: MIT
// The contract of every run loop. Compiled once for each back end.
#include "platform/run_loop/run_loop.h"

#include <gtest/gtest.h>

#include "platform/run_loop/run_loop_contract_source.h"

namespace {

using Source = run_loop_contract::CountingSource;

class RunLoop : public testing::Test {
 protected:
  void TearDown() override {
    for (const auto& source : added) {
      CFRunLoopRemoveSource(loop, source, kCFRunLoopDefaultMode);
    }
  }

  std::shared_ptr<Source> addSource() {
    added.push_back(std::make_shared<Source>());
    CFRunLoopAddSource(loop, added.back(), kCFRunLoopDefaultMode);
    return added.back();
  }

  static bool runOnce() { return CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0); }

  CFRunLoopRef loop = CFRunLoopGetCurrent();
  std::vector<std::shared_ptr<Source>> added;
};

TEST_F(RunLoop, TheMainThreadHasOneAndAlwaysTheSame) {
  ASSERT_NE(loop, nullptr);
  EXPECT_EQ(CFRunLoopGetCurrent(), loop);
}

TEST_F(RunLoop, AReadySourceIsPerformedAlsoWith0Seconds) {
  const auto source = addSource();
  source->signal();
  EXPECT_FALSE(runOnce());
  EXPECT_EQ(source->workDone(), 1);
}

TEST_F(RunLoop, ASourceThatIsNotReadyHandlesNoEvent) {
  const auto source = addSource();
  EXPECT_FALSE(runOnce());
  EXPECT_EQ(source->workDone(), 0);
}

TEST_F(RunLoop, EveryReadySourceIsPerformed) {
  const auto first = addSource();
  const auto second = addSource();
  first->signal();
  second->signal();
  runOnce();
  EXPECT_EQ(first->workDone(), 1);
  EXPECT_EQ(second->workDone(), 1);
}

TEST_F(RunLoop, ASourceAddedTwiceIsGoneAfterOneRemoval) {
  const auto source = addSource();
  CFRunLoopAddSource(loop, source, kCFRunLoopDefaultMode);
  CFRunLoopRemoveSource(loop, source, kCFRunLoopDefaultMode);
  source->signal();
  runOnce();
  EXPECT_EQ(source->workDone(), 0);
}

TEST_F(RunLoop, ARemovedSourceIsNotPerformedThoughItIsReady) {
  const auto source = addSource();
  source->signal();
  CFRunLoopRemoveSource(loop, source, kCFRunLoopDefaultMode);
  runOnce();
  EXPECT_EQ(source->workDone(), 0);
}

TEST_F(RunLoop, ASourceThatAnotherRemovesInTheSameRunIsNotPerformed) {
  const auto first = addSource();
  const auto second = addSource();
  first->onWork([&] { CFRunLoopRemoveSource(loop, second, kCFRunLoopDefaultMode); });
  second->onWork([&] { CFRunLoopRemoveSource(loop, first, kCFRunLoopDefaultMode); });
  first->signal();
  second->signal();
  runOnce();
  runOnce();
  EXPECT_EQ(first->workDone() + second->workDone(), 1);
}

TEST_F(RunLoop, RemovingAnAbsentSourceChangesNothing) {
  const auto source = addSource();
  CFRunLoopRemoveSource(loop, std::make_shared<Source>(), kCFRunLoopDefaultMode);
  source->signal();
  runOnce();
  EXPECT_EQ(source->workDone(), 1);
}

TEST_F(RunLoop, ASourceMayRemoveItselfAndItsLastReference) {
  const auto source = addSource();
  const std::weak_ptr<Source> watch = source;
  source->onWork([&] {
    CFRunLoopRemoveSource(loop, added.back(), kCFRunLoopDefaultMode);
    added.clear();
  });
  source->signal();
  runOnce();
  EXPECT_EQ(source->workDone(), 1);
  EXPECT_EQ(watch.use_count(), 1) << "the loop still holds the source";
}

TEST_F(RunLoop, ASourceMayAddAnother) {
  const auto source = addSource();
  source->onWork([&] { addSource()->signal(); });
  source->signal();
  runOnce();
  runOnce();
  EXPECT_EQ(added.back()->workDone(), 1);
}

TEST_F(RunLoop, TheLoopOwnsItsSources) {
  auto source = addSource();
  const std::weak_ptr<Source> watch = source;
  source->signal();
  source.reset();
  added.clear();
  ASSERT_FALSE(watch.expired());
  runOnce();
  EXPECT_EQ(watch.lock()->workDone(), 1);
  CFRunLoopRemoveSource(loop, watch.lock(), kCFRunLoopDefaultMode);
  EXPECT_TRUE(watch.expired());
}

TEST_F(RunLoop, AStopFromASourceEndsTheRun) {
  const auto source = addSource();
  source->onWork([&] { CFRunLoopStop(loop); });
  source->signal();
  EXPECT_TRUE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_contract::kLimit));
}

TEST_F(RunLoop, AStopBeforeARunEndsThatRunOnly) {
  CFRunLoopStop(loop);
  EXPECT_TRUE(CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_contract::kLimit));
  EXPECT_FALSE(runOnce());
}

TEST_F(RunLoop, AStopEndsTheInnermostRunOnly) {
  const auto outer = addSource();
  const auto inner = addSource();
  bool innerStopped = false;
  inner->onWork([&] { CFRunLoopStop(loop); });
  outer->onWork([&] {
    inner->signal();
    innerStopped = CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_contract::kLimit);
  });
  outer->signal();
  EXPECT_FALSE(runOnce());
  EXPECT_TRUE(innerStopped);
}

TEST_F(RunLoop, ANullLoopOrSourceIsIgnored) {
  CFRunLoopAddSource(nullptr, std::make_shared<Source>(), kCFRunLoopDefaultMode);
  CFRunLoopAddSource(loop, nullptr, kCFRunLoopDefaultMode);
  CFRunLoopRemoveSource(nullptr, nullptr, kCFRunLoopDefaultMode);
  CFRunLoopStop(nullptr);
  EXPECT_FALSE(runOnce());
}

}  // namespace
