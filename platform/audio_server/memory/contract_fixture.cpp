// SPDX-License-Identifier: MIT
#include "platform/audio_server/contract_fixture.h"

#include <map>

#include "platform/audio_server/memory/memory_audio_server.h"

namespace audio_server_contract {

namespace {

class MemoryServer : public Server {
 public:
  MemoryServer() { memory_audio_server::reset(); }
  ~MemoryServer() override { memory_audio_server::reset(); }

  void addDevice(const std::string& name) override {
    ids_[name] = memory_audio_server::addDevice(name);
  }
  void addRoutingDevice(const std::string& name, const Routings& routings) override {
    memory_audio_server::RoutingProperty property;
    for (const auto& [input, pair, value] : routings) {
      property.records.push_back({static_cast<std::uint32_t>(input), pair, value});
    }
    ids_[name] = memory_audio_server::addDevice(name, property);
  }
  void removeDevice(const std::string& name) override {
    memory_audio_server::removeDevice(ids_[name]);
  }
  void refuseWrites(const std::string& name) override {
    memory_audio_server::routingProperty(ids_[name])->writeStatus = kAudioHardwareUnspecifiedError;
  }
  void stop() override { memory_audio_server::stopServer(); }
  void start() override { memory_audio_server::startServer(); }
  void deliverNotifications() override { memory_audio_server::deliverNotifications(); }

 private:
  std::map<std::string, AudioObjectID> ids_;
};

}  // namespace

std::unique_ptr<Server> makeServer() { return std::make_unique<MemoryServer>(); }

}  // namespace audio_server_contract
