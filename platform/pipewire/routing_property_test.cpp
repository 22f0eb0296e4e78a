// SPDX-License-Identifier: MIT
#include "platform/pipewire/pipewire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spa/param/param.h>
#include <spa/param/props.h>
#include <spa/pod/builder.h>

#include <array>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "protocol/options.h"

namespace {

using pipewire::findRoutingBytes;
using pipewire::RoutingProps;
using testing::ElementsAre;
using testing::ElementsAreArray;

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

// The pods in the blocks "pod" of docs/driver-protocol.md by their words, "write" and "read". A
// line is a word or none, an offset, which counts up, bytes and a comment.
std::map<std::string, std::vector<std::uint8_t>> podsOfDocument() {
  std::map<std::string, std::vector<std::uint8_t>> pods;
  std::ifstream document(VX310_PROTOCOL_DOCUMENT);
  bool isInPod = false;
  std::string name;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("```")) isInPod = line == "```pod";
    if (!isInPod || line.starts_with("```")) continue;
    std::istringstream words(line.substr(0, line.find('#')));
    if (!line.starts_with(' ')) words >> name;
    std::vector<std::uint8_t>& pod = pods[name];
    std::size_t offset = 0;
    words >> offset;
    EXPECT_EQ(offset, pod.size()) << line;
    for (std::string byte; words >> byte;) {
      pod.push_back(static_cast<std::uint8_t>(std::stoul(byte, nullptr, 16)));
    }
  }
  return pods;
}

std::vector<std::uint8_t> podOf(const std::vector<RoutingRecord>& records) {
  std::vector<std::uint8_t> bytes(records.size() * sizeof(RoutingRecord));
  for (std::size_t i = 0; i < records.size(); ++i) {
    records[i].encode(std::span(bytes).subspan(i * sizeof(RoutingRecord)));
  }
  const RoutingProps props(bytes);
  const auto* pod = reinterpret_cast<const std::uint8_t*>(props.pod());
  return {pod, pod + sizeof(spa_pod) + props.pod()->size};
}

TEST(RoutingProperty, TheProtocolsExamplesAreWhatIsWrittenAndRead) {
  auto pods = podsOfDocument();
  EXPECT_THAT(pods["write"], ElementsAreArray(podOf({{0, 0, kFromInput12}})));
  EXPECT_THAT(pods["read"], ElementsAreArray(podOf({{0, 0, kFromInput12},
                                                    {0, 1, kFromPlayback34},
                                                    {1, 0, kFromAnalog12},
                                                    {1, 1, kFromAnalog34},
                                                    {1, 2, kFromDigital}})));
}

TEST(RoutingProperty, NullPropsHaveNoEntry) { EXPECT_FALSE(findRoutingBytes(nullptr)); }

}  // namespace
