// SPDX-License-Identifier: MIT
// What every clock does. Compiled once against each back end; how long a pause lasts is the real
// one's matter.
#include "platform/clock/clock.h"

#include <gtest/gtest.h>

namespace {

TEST(Clock, APauseOfNoTimeReturns) { platform::usleep(0); }

TEST(Clock, APauseReturns) { platform::usleep(1000); }

}  // namespace
