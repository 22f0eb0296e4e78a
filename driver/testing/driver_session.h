// SPDX-License-Identifier: MIT
// A session bus of a test's own, the driver service on it, and a client that speaks to it through
// plain sd-bus and sockets.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>

#include "driver/service/handles.h"
#include "protocol/dispatch.h"
#include "tests/support/private_bus.h"

namespace driver::testing {

using test_support::ChildProcess;
using test_support::kPatience;

// What a client sees of one published service.
struct SeenService {
  std::string className;
  std::map<std::string, std::int64_t> numbers;  // of the properties; nested ones by their own name
  std::string productName;
  std::vector<std::uint8_t> orbekUid;
};

struct SeenMessage {
  std::string path;
  std::uint32_t type;
  std::vector<std::uint8_t> argument;
};

// A command's number as a word of `vx310ctl sim`.
inline std::string numberOf(VQ_Command command) {
  return std::to_string(static_cast<std::uint32_t>(command));
}

// An answer packet, or how the wait for one ended.
struct Answer {
  enum class Kind { packet, closed, none };
  Kind kind;
  std::vector<std::uint8_t> bytes;

  // Payload word of an answer that is a whole record.
  std::uint32_t word(std::size_t index) const;
};

class DriverSession : public ::testing::Test {
 protected:
  using enum VQ_Command;

  // Starts the bus; the driver only by startDriver().
  void SetUp() override;

  // Starts the driver service and waits until it owns its name. The interfaces that it starts with
  // do not count as added.
  void startDriver(const std::vector<std::string>& options = {});
  ChildProcess& driver() { return *driver_; }
  // The bus stops reading.
  void hangBus() { session_.hang(); }
  // Ends the bus, and this client's connection to it.
  void endBus() { session_.stop(); }
  // Changes to the environment of the programs that this session starts.
  std::vector<std::string> environment() const;

  // The published services by their paths.
  std::map<std::string, SeenService> services();
  // The path of the only service.
  std::string onlyService();

  // Handles bus traffic until `done`; false on timeout.
  bool waitUntil(const std::function<bool()>& done);
  // Receives everything that the driver has sent so far.
  void catchUp();

  // Opens a connection; an empty descriptor, with the error's name in openError_, on failure.
  FileDescriptor open(const std::string& path, std::uint32_t type = 2);
  // As open(), for another client of the bus.
  FileDescriptor openFor(const Bus& client, const std::string& path, std::uint32_t type = 2);
  // Connects another client to the bus.
  Bus connectClient();

  static bool sendPacket(const FileDescriptor& connection, const std::vector<std::uint8_t>& packet);
  static Answer receive(const FileDescriptor& connection,
                        std::chrono::milliseconds limit = kPatience);
  // Sends a record with its selector and awaits the answer.
  static Answer request(const FileDescriptor& connection, const VQ_Dispatch& record,
                        std::chrono::milliseconds limit = kPatience);
  static Answer request(const FileDescriptor& connection, VQ_Command command,
                        std::initializer_list<std::uint32_t> words = {},
                        std::chrono::milliseconds limit = kPatience);
  static std::vector<std::uint8_t> packetOf(const VQ_Dispatch& record, std::uint32_t selector = 0);

  // Sends the words of `vx310ctl sim` to the driver; the error's name, empty on success.
  std::string control(const std::vector<std::string>& words, std::uint32_t interface = 0);

  // Environment that hides every audio server, the machine's own included.
  std::vector<std::string> audioEnvironment_ = {"PIPEWIRE_RUNTIME_DIR=/nonexistent"};

  // Seen since SetUp(), in the order of arrival.
  std::vector<std::string> added_;
  std::vector<std::string> removed_;
  std::vector<SeenMessage> messages_;
  std::vector<std::string> propertiesChanged_;  // paths
  bool nameOwned_ = false;
  std::string openError_;

 private:
  static int onSignal(sd_bus_message* message, void* self, sd_bus_error* error);
  void note(sd_bus_message* message);
  static BusMessage callFrom(const Bus& client, const char* path, const char* interface,
                             const char* method, const std::function<void(sd_bus_message*)>& append,
                             std::string* error);
  BusMessage call(const char* path, const char* interface, const char* method,
                  const std::function<void(sd_bus_message*)>& append, std::string* error);

  test_support::PrivateBus session_;
  std::unique_ptr<ChildProcess> driver_;
  Bus bus_;
};

}  // namespace driver::testing
