// SPDX-License-Identifier: MIT
// The driver's audio node on a private PipeWire server, run from the test's own thread.
#include "driver/audio_node/audio_node.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "platform/pipewire/pipewire.h"
#include "tests/audio_server/graph_client.h"
#include "tests/audio_server/port_clients.h"
#include "tests/support/open_files.h"
#include "tests/support/pipewire_server.h"

namespace {

using driver::AudioGraph;
using driver::AudioNode;
using pipewire_test::GraphClient;
using testing::ElementsAre;

constexpr auto kLimit = std::chrono::seconds(10);
constexpr driver::AudioState kState{{{10, 11}, {12, 13, 14}}};
constexpr RoutingRecords kRecords{{{0, 0, 10}, {0, 1, 11}, {1, 0, 12}, {1, 1, 13}, {1, 2, 14}}};

std::vector<std::uint8_t> bytesOf(const RoutingRecords& records) {
  std::vector<std::uint8_t> bytes(sizeof records);
  std::memcpy(bytes.data(), records.data(), sizeof records);
  return bytes;
}

const AudioNode::Handlers kNone{[](const RoutingRecord&) {}, [](bool) {}};

AudioNode::Names namesOf(const std::string& name) { return {name, "node-" + name, "/" + name}; }

std::size_t countThreads() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

class DriverAudioNode : public testing::Test {
 protected:
  // A node that records its writes in this fixture.
  void publish() {
    node_.emplace(driverGraph_, AudioNode::Names{"VX-310", "vx310", "/object"}, kState,
                  AudioNode::Handlers{[this](const RoutingRecord& record) {
                                        written_.push_back(record);
                                        if (onWrite_) onWrite_(record);
                                      },
                                      [this](bool present) { presence_.push_back(present); }});
  }
  bool present() const { return !presence_.empty() && presence_.back(); }

  void startServer() {
    ASSERT_TRUE(server_.start());
    graph_.emplace();
  }
  void startServerAndPublish() {
    startServer();
    publish();
    ASSERT_TRUE(runUntil([&] { return present(); }));
    ASSERT_TRUE(runUntil([&] { return graph_->findNode("VX-310") != 0; }));
  }

  // Runs the driver's graph until the condition holds; it is evaluated after each event.
  bool runUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    while (!condition()) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) return false;
      pollfd events[] = {{driverGraph_.descriptor(), POLLIN, 0},
                         {graph_ ? graph_->descriptor() : -1, POLLIN, 0}};
      ::poll(events, 2, static_cast<int>(left.count()));
      if (events[1].revents) graph_->takeEvent();
      if (events[0].revents) driverGraph_.dispatch();
    }
    return true;
  }

  // Lets another client follow the node and waits until it has seen these records.
  bool othersSee(const RoutingRecords& records) {
    return runUntil([&] { return graph_->routings() == bytesOf(records); });
  }

  void write(std::span<const std::uint8_t> bytes) {
    graph_->writeProps(pipewire::RoutingProps(bytes).pod());
  }
  void write(const RoutingRecord& record) {
    std::array<std::uint8_t, sizeof record> bytes;
    std::memcpy(bytes.data(), &record, sizeof record);
    write(bytes);
  }

  test_support::PipeWireServer server_;
  std::optional<GraphClient> graph_;
  std::vector<bool> presence_;
  std::vector<RoutingRecord> written_;
  std::function<void(const RoutingRecord&)> onWrite_;
  AudioGraph driverGraph_;
  std::optional<AudioNode> node_;
};

TEST_F(DriverAudioNode, ASinkAndASourceHaveThatNameAndTheJacksAnother) {
  startServerAndPublish();
  EXPECT_THAT(presence_, ElementsAre(true));
  EXPECT_TRUE(runUntil([&] { return graph_->findNode("vx310-jacks-out") != 0; }));
  std::vector<std::pair<std::string, std::string>> found;
  for (const GraphClient::Object& object : graph_->objects()) {
    const auto name = object.properties.find("node.name");
    if (name == object.properties.end() || !name->second.starts_with("vx310")) continue;
    found.emplace_back(object.properties.at("node.description"),
                       object.properties.at("media.class"));
  }
  EXPECT_THAT(found,
              ElementsAre(std::pair("VX-310", "Audio/Sink"), std::pair("VX-310", "Audio/Source"),
                          std::pair("VX-310 Jacks", "Audio/Sink"),
                          std::pair("VX-310 Jacks", "Audio/Source")));
}

TEST_F(DriverAudioNode, EachChannelHasAPortWithoutASessionManager) {
  startServerAndPublish();
  const auto ports = [&](const char* node) {
    std::vector<std::string> found;
    for (const GraphClient::Object& object : graph_->objects()) {
      if (object.type == PW_TYPE_INTERFACE_Port &&
          object.properties.at("node.id") == std::to_string(graph_->findNode(node))) {
        found.push_back(object.properties.at("port.name"));
      }
    }
    return found;
  };
  EXPECT_TRUE(runUntil([&] { return ports("vx310-jacks-out").size() == 4; }));
  EXPECT_THAT(ports("vx310-playback"),
              ElementsAre("playback_AUX0", "playback_AUX1", "playback_AUX2", "playback_AUX3"));
  EXPECT_THAT(ports("vx310-capture"), ElementsAre("capture_AUX0", "capture_AUX1", "capture_AUX2",
                                                  "capture_AUX3", "capture_AUX4", "capture_AUX5"));
  EXPECT_THAT(ports("vx310-jacks-in"),
              ElementsAre("playback_AUX0", "playback_AUX1", "playback_AUX2", "playback_AUX3",
                          "playback_AUX4", "playback_AUX5"));
  EXPECT_THAT(ports("vx310-jacks-out"),
              ElementsAre("capture_AUX0", "capture_AUX1", "capture_AUX2", "capture_AUX3"));
}

TEST_F(DriverAudioNode, ADestroyedNodeLeavesTheGraph) {
  startServerAndPublish();
  node_.reset();
  EXPECT_TRUE(runUntil([&] { return graph_->findNode("VX-310") == 0; }));
}

TEST_F(DriverAudioNode, AfterADestroyedNodeAnotherCanBeMade) {
  startServerAndPublish();
  node_.reset();
  EXPECT_TRUE(runUntil([&] { return graph_->findNode("VX-310") == 0; }));
  publish();
  EXPECT_TRUE(runUntil([&] { return graph_->findNode("VX-310") != 0; }));
  EXPECT_TRUE(runUntil([&] { return presence_ == std::vector{true, true}; }));
}

TEST_F(DriverAudioNode, ANodePublishedBeforeTheServerStartsAppearsWithIt) {
  publish();
  driverGraph_.dispatch();
  EXPECT_FALSE(present());
  startServer();
  EXPECT_TRUE(runUntil([&] { return present(); }));
}

TEST_F(DriverAudioNode, ItReappearsAfterAnOrderlyRestartOfTheServer) {
  startServerAndPublish();
  graph_.reset();
  server_.stop();
  EXPECT_TRUE(runUntil([&] { return !present(); }));
  startServer();
  EXPECT_TRUE(runUntil([&] { return present(); }));
  EXPECT_TRUE(runUntil([&] { return graph_->findNode("VX-310") != 0; }));
  EXPECT_THAT(presence_, ElementsAre(true, false, true));
}

TEST_F(DriverAudioNode, ItReappearsAfterTheServerWasKilled) {
  startServerAndPublish();
  for (int round = 0; round < 2; ++round) {
    graph_.reset();
    server_.kill();
    EXPECT_TRUE(runUntil([&] { return !present(); }));
    startServer();
    EXPECT_TRUE(runUntil([&] { return present(); }));
  }
}

TEST_F(DriverAudioNode, DestroyedWithoutAServerItDoesNotReappear) {
  AudioNode other(driverGraph_, namesOf("Other"), kState, kNone);
  startServerAndPublish();
  graph_.reset();
  server_.stop();
  EXPECT_TRUE(runUntil([&] { return !present(); }));
  node_.reset();
  startServer();
  EXPECT_TRUE(runUntil([&] { return graph_->findNode("Other") != 0; }));
  EXPECT_EQ(graph_->findNode("VX-310"), 0u);
  EXPECT_THAT(presence_, ElementsAre(true, false));
}

TEST_F(DriverAudioNode, AllNodesOfAGraphReappearWithTheServer) {
  startServerAndPublish();
  std::deque<AudioNode> others;
  for (const char* name : {"A", "B", "C"})
    others.emplace_back(driverGraph_, namesOf(name), kState, kNone);
  const auto allAreThere = [&] {
    return std::ranges::all_of(std::array{"VX-310", "A", "B", "C"},
                               [&](const char* name) { return graph_->findNode(name) != 0; });
  };
  EXPECT_TRUE(runUntil(allAreThere));
  graph_.reset();
  server_.kill();
  EXPECT_TRUE(runUntil([&] { return !present(); }));
  startServer();
  EXPECT_TRUE(runUntil(allAreThere));
}

// The system limits the number of inotify watches per user, so the nodes of a graph share one.
TEST_F(DriverAudioNode, ManyNodesOfAGraphTakeOneWatchAndOneThread) {
  startServerAndPublish();
  const auto resources = [] {
    return std::pair(test_support::countOpenFiles(::getpid(), "anon_inode:inotify"),
                     countThreads());
  };
  const auto before = resources();
  EXPECT_GE(before.first, 1u);
  std::deque<AudioNode> others;
  for (int i = 0; i < 20; ++i) {
    others.emplace_back(driverGraph_, namesOf("Node " + std::to_string(i)), kState, kNone);
  }
  EXPECT_TRUE(runUntil([&] { return graph_->findNode("Node 19") != 0; }));
  EXPECT_EQ(resources(), before);
}

TEST_F(DriverAudioNode, OtherClientsReadTheRecords) {
  startServerAndPublish();
  graph_->follow(graph_->findNode("VX-310"));
  EXPECT_TRUE(othersSee(kRecords));
}

TEST_F(DriverAudioNode, OtherClientsSeeARecordThatTheDriverChanges) {
  startServerAndPublish();
  graph_->follow(graph_->findNode("VX-310"));
  RoutingRecords records = kRecords;
  records[4].value = 99;
  node_->set({{{10, 11}, {12, 13, 99}}});
  EXPECT_TRUE(othersSee(records));
}

TEST_F(DriverAudioNode, AWriteReachesTheDriverAndItsAnswerTheWriter) {
  startServerAndPublish();
  graph_->follow(graph_->findNode("VX-310"));
  EXPECT_TRUE(othersSee(kRecords));
  RoutingRecords records = kRecords;
  records[3].value = 2;
  onWrite_ = [&](const RoutingRecord&) { node_->set({{{10, 11}, {12, 2, 14}}}); };
  write({1, 1, 2});
  EXPECT_TRUE(othersSee(records));
  EXPECT_THAT(written_, ElementsAre(RoutingRecord{1, 1, 2}));
}

TEST_F(DriverAudioNode, AWriteToTheSourceIsAnsweredOnTheSink) {
  startServerAndPublish();
  EXPECT_TRUE(runUntil([&] { return graph_->findNode("vx310-capture") != 0; }));
  GraphClient writer;
  writer.follow(graph_->findNode("vx310-capture"));
  graph_->follow(graph_->findNode("vx310-playback"));
  EXPECT_TRUE(othersSee(kRecords));
  RoutingRecords records = kRecords;
  records[3].value = 2;
  onWrite_ = [&](const RoutingRecord&) { node_->set({{{10, 11}, {12, 2, 14}}}); };
  const RoutingRecord record{1, 1, 2};
  std::array<std::uint8_t, sizeof record> bytes;
  std::memcpy(bytes.data(), &record, sizeof record);
  writer.writeProps(pipewire::RoutingProps(bytes).pod());
  EXPECT_TRUE(othersSee(records));
}

TEST_F(DriverAudioNode, AfterARefusedWriteTheNodeSendsItsRecordsAgain) {
  startServerAndPublish();
  graph_->follow(graph_->findNode("VX-310"));
  EXPECT_TRUE(othersSee(kRecords));
  const int timesShown = graph_->timesShown();
  write({7, -1, 2});
  EXPECT_TRUE(runUntil([&] { return graph_->timesShown() > timesShown; }));
  EXPECT_THAT(written_, ElementsAre(RoutingRecord{7, -1, 2}));
  EXPECT_EQ(graph_->routings(), bytesOf(kRecords));
}

TEST_F(DriverAudioNode, WritesOfAnyOtherSizeAreIgnored) {
  startServerAndPublish();
  graph_->follow(graph_->findNode("VX-310"));
  EXPECT_TRUE(othersSee(kRecords));
  for (const std::size_t size : {0u, 1u, 11u, 13u, 60u, 4000u}) {
    write(std::vector<std::uint8_t>(size, 0));
  }
  // Writes arrive in order: when the correct one has arrived, the others have been handled.
  write({1, 1, 2});
  EXPECT_TRUE(runUntil([&] { return !written_.empty(); }));
  EXPECT_THAT(written_, ElementsAre(RoutingRecord{1, 1, 2}));
}

TEST_F(DriverAudioNode, TheLoopbackPairReturnsThePlayback) {
  startServerAndPublish();
  pipewire_test::Player player(*graph_, {0.25f, 0.5f});
  pipewire_test::Recorder recorder(*graph_, 6);
  const auto port = [&](const char* node, const std::string& name) {
    std::uint32_t id = 0;
    EXPECT_TRUE(runUntil([&] {
      return (id = graph_->findPort(graph_->findNode(node), name)) != 0;
    })) << name;
    return id;
  };
  for (int i = 1; i <= 2; ++i) {
    graph_->link(port("player", "out_" + std::to_string(i)),
                 port("vx310-playback", "playback_AUX" + std::to_string(i - 1)));
  }
  for (int i = 1; i <= 6; ++i) {
    graph_->link(port("vx310-capture", "capture_AUX" + std::to_string(i - 1)),
                 port("recorder", "in_" + std::to_string(i)));
  }
  const auto recorded = [&](const std::vector<float>& levels) {
    return runUntil([&] { return recorder.levels() == levels; });
  };
  EXPECT_TRUE(recorded({0, 0, 0, 0, 0, 0}));

  node_->set({{{10, 11}, {12, kFromLoopback, 14}}});
  EXPECT_TRUE(recorded({0, 0, 0.25f, 0.5f, 0, 0}));

  node_->set(kState);
  EXPECT_TRUE(recorded({0, 0, 0, 0, 0, 0}));
}

}  // namespace
