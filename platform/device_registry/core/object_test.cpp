// SPDX-License-Identifier: MIT
#include "platform/device_registry/core/object.h"

#include <gtest/gtest.h>

namespace device_registry {
namespace {

TEST(Numbers, AreNeverZeroAlsoAfterTheyWrapAround) {
  Numbers numbers(0xfffffffe, {});
  EXPECT_EQ(numbers.take(), 0xffffffffu);
  EXPECT_EQ(numbers.take(), 1u);
}

TEST(Numbers, ANumberInUseIsSkipped) {
  Numbers numbers(0xfffffffe, {0xffffffff, 1, 2});
  EXPECT_EQ(numbers.take(), 3u);
}

TEST(ObjectTable, AnObjectKeepsItsNumberWhenTheClientReleasesItAndGetsItAgain) {
  const auto numbers = std::make_shared<Numbers>();
  ObjectTable table;
  const auto object = std::make_shared<Object>(numbers);
  const std::uint32_t handle = table.give(object);
  table.release(handle);
  EXPECT_EQ(table.find<Object>(handle), nullptr);
  EXPECT_EQ(table.give(object), handle);
}

TEST(ObjectTable, AnObjectStaysUntilItsLastReferenceIsGone) {
  ObjectTable table;
  const std::uint32_t handle = table.give(std::make_shared<Object>(std::make_shared<Numbers>()));
  table.retain(handle);
  table.release(handle);
  EXPECT_NE(table.find<Object>(handle), nullptr);
  EXPECT_EQ(table.references(), 1u);
  table.release(handle);
  EXPECT_EQ(table.find<Object>(handle), nullptr);
}

TEST(ObjectTable, RetainingAndReleasingAnUnknownHandleDoesNothing) {
  ObjectTable table;
  table.retain(7);
  table.release(7);
  table.release(0);
  EXPECT_EQ(table.references(), 0u);
}

}  // namespace
}  // namespace device_registry
