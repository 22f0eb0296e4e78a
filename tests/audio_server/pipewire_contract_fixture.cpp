// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "platform/audio_server/contract_fixture.h"
#include "tests/audio_server/driver_node.h"
#include "tests/audio_server/graph_client.h"
#include "tests/support/pipewire_server.h"

namespace audio_server_contract {

namespace {

// The back end under test connects once per process, so all tests of a process share the server's
// folder.
test_support::PipeWireServer& privateServer() {
  static test_support::PipeWireServer server;
  return server;
}

class PipeWireServer : public Server {
 public:
  PipeWireServer() { start(); }
  ~PipeWireServer() override { stop(); }

  void addDevice(const std::string& name) override {
    plainDevices_.push_back(name);
    graph_->addDevice(properties(name));
  }
  void addRoutingDevice(const std::string& name, const Routings& routings) override {
    RoutingRecords records;
    for (std::size_t i = 0; i < records.size(); ++i) {
      const auto& [input, pair, value] = routings[i];
      records[i] = {static_cast<std::uint32_t>(input), pair, value};
    }
    driverNodes_.try_emplace(name, name, records);
  }
  void removeDevice(const std::string& name) override {
    driverNodes_.erase(name);
    if (std::erase(plainDevices_, name) > 0) graph_->removeDevice(name);
  }
  void refuseWrites(const std::string& name) override { driverNodes_.at(name).refuseWrites(); }

  void stop() override {
    privateServer().stop();
    graph_.reset();
  }
  void start() override {
    EXPECT_TRUE(privateServer().start());
    graph_ = std::make_unique<pipewire_test::GraphClient>();
    for (const std::string& name : plainDevices_) graph_->addDevice(properties(name));
  }

 private:
  static std::map<std::string, std::string> properties(const std::string& name) {
    return {{"node.name", name}, {"node.description", name}, {"media.class", "Audio/Sink"}};
  }

  std::vector<std::string> plainDevices_;
  std::unique_ptr<pipewire_test::GraphClient> graph_;
  std::map<std::string, pipewire_test::DriverNode> driverNodes_;
};

}  // namespace

std::unique_ptr<Server> makeServer() { return std::make_unique<PipeWireServer>(); }

}  // namespace audio_server_contract
