// SPDX-License-Identifier: MIT
// A service of the driver, and connections to it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/device_registry/core/service.h"
#include "platform/device_registry/dbus/channel.h"
#include "platform/device_registry/dbus/driver_calls.h"

namespace device_registry {

class DriverService : public Service, public std::enable_shared_from_this<DriverService> {
 public:
  enum class Failure {
    kSilence,  // the driver did not answer, or not in the right form
    kSpared    // the driver was not asked: other calls had used up the time for waiting
  };

  // `calls` is used only while the service is present. `failed` is called for each Failure.
  DriverService(std::shared_ptr<Numbers> numbers, std::string className, std::string path,
                DriverCalls& calls, std::function<void(Failure)> failed)
      : Service(numbers, std::move(className)),
        numbers_(std::move(numbers)),
        path_(std::move(path)),
        calls_(calls),
        failed_(std::move(failed)) {}

  // Asks the driver at each call, so that the properties are never stale.
  IOReturn readProperties(CFDictionary* properties) override;
  IOReturn open(std::uint32_t type, std::shared_ptr<Connection>* connection) override;

  // Makes `call` with a deadline: kRegistryCallLimitMs, or the rest of the turn's DriverWaits.
  IOReturn withinLimit(const std::function<IOReturn(const Deadline&)>& call);
  // Opens a channel; part of a call.
  IOReturn reopen(std::uint32_t type, const Deadline& deadline, std::optional<Channel>* channel);
  // The driver did not answer a request, or not as it should.
  void noteSilence() { failed_(Failure::kSilence); }

  // Whether a call was made that was not spared.
  bool wasAsked() const { return wasAsked_; }

  // Ends the pauses of the connections, which notice by the changed count.
  void endPauses() { ++endedPauses_; }
  int endedPauses() const { return endedPauses_; }

 private:
  std::shared_ptr<Numbers> numbers_;
  std::string path_;
  DriverCalls& calls_;
  std::function<void(Failure)> failed_;
  bool wasAsked_ = false;
  int endedPauses_ = 0;
};

class DriverConnection : public Connection {
 public:
  DriverConnection(std::shared_ptr<Numbers> numbers, std::shared_ptr<DriverService> service,
                   std::uint32_t type, std::optional<Channel> channel)
      : Connection(std::move(numbers)),
        service_(std::move(service)),
        type_(type),
        channel_(std::move(channel)) {}

  IOReturn call(std::uint32_t selector, std::span<const std::uint8_t> input,
                std::span<std::uint8_t> output, std::size_t* outputSize) override;

 private:
  IOReturn exchange(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output, std::size_t* outputSize,
                    const Deadline& deadline);

  std::shared_ptr<DriverService> service_;
  std::uint32_t type_;
  std::optional<Channel> channel_;  // nullopt after a failure
  bool lastFailed_ = false;
  Pause pause_;  // after two failures in a row
  int endedPauses_ = 0;
};

}  // namespace device_registry
