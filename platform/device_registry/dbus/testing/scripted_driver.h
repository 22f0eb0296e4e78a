// SPDX-License-Identifier: MIT
// A driver service whose answers a test scripts, also faulty ones. It uses sd-bus directly, so that
// it can send messages that a correct driver never sends.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/posix.h"
#include "platform/values/values.h"
#include "tests/support/child_process.h"

namespace scripted_driver {

using Bytes = std::vector<std::uint8_t>;

struct Service {
  std::string className;
  CFDictionary properties;

  // Returns the answer to a request on a channel; nullopt sends none. If empty, a request is
  // answered with itself.
  std::function<std::optional<Bytes>(std::uint32_t selector, const Bytes& request)> respond;
  // Instead of `respond`: handles a request on the channel's socket; false closes the channel.
  std::function<bool(int socket, const Bytes& request)> handle;
  // Returns the descriptor that a call of Open hands out, which the driver then closes; negative
  // for an error reply. If empty, a channel is opened.
  std::function<int(std::uint32_t type)> open;
  // Appends the variant of a reply to a property read; negative for an error reply.
  std::function<int(sd_bus_message* reply)> read;
  // Appends the interfaces ("a{sa{sv}}") to the signal that announces the service.
  std::function<int(sd_bus_message* message)> announce;
};

// Appends `dictionary` as "a{sv}"; numbers as 32-bit integers, or 64-bit if they do not fit.
int appendDictionary(sd_bus_message* message, const CFDictionary& dictionary);

// Sends one packet: an answer of the driver.
void sendPacket(int socket, std::span<const std::uint8_t> packet);

class Driver {
 public:
  // Connects to the bus at `address` without a name.
  explicit Driver(const std::string& address);
  ~Driver();
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  void claimName();
  void dropName();

  // Publishes `service` at the path /com/vantrel/Driver1/NAME and announces it.
  void publish(const std::string& name, Service service);
  void terminate(const std::string& name);
  void sendMessage(const std::string& name, std::uint32_t type,
                   std::span<const std::uint8_t> bytes);
  // Sends a signal; `append` fills it.
  void sendSignal(const std::string& path, const char* interface, const char* member,
                  const std::function<int(sd_bus_message*)>& append);
  void announce(const std::string& path, const std::function<int(sd_bus_message*)>& interfaces);
  void announceRemoval(const std::string& path, const char* interface);
  Service& service(const std::string& name) { return services_.at(name); }
  void closeChannels() { channels_.clear(); }
  std::size_t openChannels() const { return channels_.size(); }

  // Opens a channel to a service and returns the client's end.
  int openChannel(const std::string& name);

  // `script` fills the reply to GetManagedObjects; negative for an error reply.
  void scriptListing(std::function<int(sd_bus_message*)> script) { listing_ = std::move(script); }

  // The number of calls received for services.
  int callsToServices() const { return callsToServices_; }
  sd_bus* bus() { return bus_; }

  // Serves until `stop` reads as ready.
  void run(int stop);
  // Waits until a request has arrived or `also` reads as ready, then serves the requests.
  void runOnce(int also);

 private:
  struct Channel {
    FileDescriptor socket;
    std::string service;
  };
  static int received(sd_bus_message* message, void* self, sd_bus_error* error);
  int reply(sd_bus_message* call);
  int replyToOpen(sd_bus_message* call, const std::string& name);
  int replyToRead(sd_bus_message* call, const std::string& name);
  int replyWithAll(sd_bus_message* call);
  int replyWith(sd_bus_message* call, const std::function<int(sd_bus_message*)>& append);
  bool serve(Channel& channel);

  sd_bus* bus_ = nullptr;
  bool lost_ = false;  // the bus connection was lost
  int callsToServices_ = 0;
  std::function<int(sd_bus_message*)> listing_;
  std::map<std::string, Service> services_;
  std::vector<std::unique_ptr<Channel>> channels_;
};

// A driver on a thread of its own.
class DriverThread {
 public:
  explicit DriverThread(const std::string& address);
  ~DriverThread();

  // Runs `action` on the driver's thread and returns when it is done and the bus has delivered
  // everything it sent.
  void perform(const std::function<void(Driver&)>& action);
  // Starts `action` on the driver's thread and returns at once. While `action` waits, the driver
  // hangs.
  std::future<void> start(std::function<void(Driver&)> action);

 private:
  void run(const std::string& address);

  FileDescriptor wake_;
  std::mutex mutex_;
  std::vector<std::packaged_task<void(Driver&)>> actions_;
  bool stopping_ = false;
  std::thread thread_;
};

// A driver in a process of its own, which a test can kill. `prepare` runs in that process before it
// serves, and publishes services. Make it before the registry is opened, so that the process
// inherits none of the registry's descriptors.
class DriverProcess {
 public:
  DriverProcess(const std::string& address, const std::function<void(Driver&)>& prepare);
  // Kills the process.
  void kill();

 private:
  test_support::ChildProcess process_;
};

}  // namespace scripted_driver
