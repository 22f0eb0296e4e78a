// SPDX-License-Identifier: MIT
#include "protocol/natural_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

TEST(NaturalOrderTest, SortsRunsOfDigitsAsNumbers) {
  const std::vector<std::string> sorted = {"",           "service",     "service/1",
                                           "service2",   "service09",   "service10",
                                           "service10a", "service010b", "serviceA"};
  std::vector<std::string> paths(sorted.rbegin(), sorted.rend());
  std::ranges::sort(paths, NaturalOrder{});
  EXPECT_EQ(paths, sorted);
}

TEST(NaturalOrderTest, TellsTextsApartThatDifferInLeadingZeros) {
  EXPECT_TRUE(NaturalOrder{}("service01", "service1"));
  EXPECT_FALSE(NaturalOrder{}("service1", "service01"));
  EXPECT_FALSE(NaturalOrder{}("service1", "service1"));
}

}  // namespace
