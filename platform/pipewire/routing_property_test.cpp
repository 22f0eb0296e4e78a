// SPDX-License-Identifier: MIT
#include "platform/pipewire/pipewire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spa/param/param.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>

#include <array>
#include <functional>

namespace {

using pipewire::findRoutingBytes;
using pipewire::RoutingProps;
using testing::ElementsAre;

// Props with a struct `params` that `fill` fills.
class Props {
 public:
  explicit Props(const std::function<void(spa_pod_builder&)>& fill,
                 std::uint32_t type = SPA_TYPE_OBJECT_Props, std::uint32_t key = SPA_PROP_params) {
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, storage_.data(), sizeof storage_);
    spa_pod_frame object;
    spa_pod_frame params;
    spa_pod_builder_push_object(&builder, &object, type, SPA_PARAM_Props);
    spa_pod_builder_prop(&builder, SPA_PROP_mute, 0);
    spa_pod_builder_bool(&builder, true);
    spa_pod_builder_prop(&builder, key, 0);
    spa_pod_builder_push_struct(&builder, &params);
    fill(builder);
    spa_pod_builder_pop(&builder, &params);
    spa_pod_builder_pop(&builder, &object);
  }
  const spa_pod* pod() const { return reinterpret_cast<const spa_pod*>(storage_.data()); }

 private:
  std::array<std::uint64_t, 64> storage_{};
};

constexpr std::array<std::uint8_t, 3> kBytes{1, 2, 3};

void addEntry(spa_pod_builder& builder) {
  spa_pod_builder_string(&builder, "VQrt");
  spa_pod_builder_bytes(&builder, kBytes.data(), kBytes.size());
}

TEST(RoutingProperty, APropertyThatWasBuiltIsFound) {
  std::vector<std::uint8_t> bytes;
  for (std::uint8_t i = 0; i < 60; ++i) bytes.push_back(i);
  const RoutingProps props(bytes);
  const auto found = findRoutingBytes(props.pod());
  ASSERT_TRUE(found);
  EXPECT_EQ(std::vector(found->begin(), found->end()), bytes);
}

TEST(RoutingProperty, AnEntryMayHaveNoBytes) {
  const RoutingProps props({});
  const auto found = findRoutingBytes(props.pod());
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->empty());
}

TEST(RoutingProperty, OtherEntriesAreSkipped) {
  const Props props([](spa_pod_builder& builder) {
    spa_pod_builder_string(&builder, "other");
    spa_pod_builder_float(&builder, 0.5f);
    addEntry(builder);
  });
  EXPECT_THAT(findRoutingBytes(props.pod()).value(), ElementsAre(1, 2, 3));
}

TEST(RoutingProperty, AnEntryOfAnotherTypeIsNotFound) {
  const Props props([](spa_pod_builder& builder) {
    spa_pod_builder_string(&builder, "VQrt");
    spa_pod_builder_string(&builder, "text");
  });
  EXPECT_FALSE(findRoutingBytes(props.pod()));
}

TEST(RoutingProperty, AKeyWithoutAValueIsNotFound) {
  const Props props([](spa_pod_builder& builder) { spa_pod_builder_string(&builder, "VQrt"); });
  EXPECT_FALSE(findRoutingBytes(props.pod()));
}

TEST(RoutingProperty, AStructWithoutKeysAndValuesHasNoEntry) {
  const Props props([](spa_pod_builder& builder) {
    spa_pod_builder_int(&builder, 1);
    addEntry(builder);
  });
  EXPECT_FALSE(findRoutingBytes(props.pod()));
}

TEST(RoutingProperty, OtherObjectsAndPropertiesHaveNoEntry) {
  EXPECT_FALSE(findRoutingBytes(Props(addEntry, SPA_TYPE_OBJECT_Format).pod()));
  EXPECT_FALSE(findRoutingBytes(Props(addEntry, SPA_TYPE_OBJECT_Props, SPA_PROP_device).pod()));
}

TEST(RoutingProperty, NullPropsHaveNoEntry) { EXPECT_FALSE(findRoutingBytes(nullptr)); }

}  // namespace
