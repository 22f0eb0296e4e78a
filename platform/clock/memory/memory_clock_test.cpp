// SPDX-License-Identifier: MIT
#include "platform/clock/memory/memory_clock.h"

#include <gmock/gmock.h>

#include "platform/clock/clock.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MemoryClock : public testing::Test {
 protected:
  void SetUp() override { memory_clock::reset(); }
  void TearDown() override { memory_clock::reset(); }
};

TEST_F(MemoryClock, RecordsEachPauseInOrder) {
  platform::usleep(400'000);
  platform::usleep(100'000);
  EXPECT_THAT(memory_clock::pauses(), ElementsAre(400'000, 100'000));
}

TEST_F(MemoryClock, LetsSomethingHappenDuringAPause) {
  unsigned during = 0;
  memory_clock::onPause([&](unsigned microseconds) { during = microseconds; });
  platform::usleep(100'000);
  EXPECT_EQ(during, 100'000U);
}

TEST_F(MemoryClock, ForgetsPausesAndActionAtAReset) {
  memory_clock::onPause([](unsigned) { FAIL(); });
  memory_clock::reset();
  EXPECT_THAT(memory_clock::pauses(), IsEmpty());
  platform::usleep(1);
}

}  // namespace
