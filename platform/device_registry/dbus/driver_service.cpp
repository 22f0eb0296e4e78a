// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/driver_service.h"

#include <utility>

#include "platform/driver_waits/driver_waits.h"
#include "protocol/dispatch.h"

namespace device_registry {

namespace {

// A record is answered by a record, or refused by the command number alone. Requests of another
// size are not checked.
bool isProperAnswer(std::span<const std::uint8_t> request, std::size_t answered) {
  return request.size() != VQ_Dispatch::kSize || answered == VQ_Dispatch::kSize ||
         answered == kDispatchRefusalSize;
}

}  // namespace

IOReturn DriverService::withinLimit(const std::function<IOReturn(const Deadline&)>& call) {
  const DriverWaits::Call wait(driverWaits(), kRegistryCallLimitMs);
  if (wait.limitMs() == 0) {
    failed_(Failure::kSpared);
    return kIOReturnTimeout;
  }
  wasAsked_ = true;
  return call(Deadline(wait.limitMs()));
}

// An error reply is an answer, too: a driver may have no properties.
IOReturn DriverService::readProperties(CFDictionary* properties) {
  return withinLimit([&](const Deadline& deadline) {
    const IOReturn result = calls_.readProperties(path_, deadline, properties);
    if (result == kIOReturnTimeout) failed_(Failure::kSilence);
    return result;
  });
}

IOReturn DriverService::open(std::uint32_t type, std::shared_ptr<Connection>* connection) {
  std::optional<Channel> channel;
  const IOReturn result =
      withinLimit([&](const Deadline& deadline) { return reopen(type, deadline, &channel); });
  if (result != kIOReturnSuccess) return result;
  *connection =
      std::make_shared<DriverConnection>(numbers_, shared_from_this(), type, std::move(channel));
  return kIOReturnSuccess;
}

IOReturn DriverService::reopen(std::uint32_t type, const Deadline& deadline,
                               std::optional<Channel>* channel) {
  const IOReturn result = calls_.open(path_, type, deadline, channel);
  if (result != kIOReturnSuccess) failed_(Failure::kSilence);
  return result;
}

IOReturn DriverConnection::call(std::uint32_t selector, std::span<const std::uint8_t> input,
                                std::span<std::uint8_t> output, std::size_t* outputSize) {
  if (std::exchange(endedPauses_, service_->endedPauses()) != service_->endedPauses()) {
    pause_ = Pause();
    lastFailed_ = false;
  }
  return service_->withinLimit([&](const Deadline& deadline) {
    if (pause_.isRunning()) return kIOReturnNotOpen;
    const IOReturn result = exchange(selector, input, output, outputSize, deadline);
    const bool failed = result != kIOReturnSuccess && result != kIOReturnOverrun;
    if (failed) {
      channel_.reset();
      if (lastFailed_) pause_.start();
    }
    lastFailed_ = failed;
    return result;
  });
}

IOReturn DriverConnection::exchange(std::uint32_t selector, std::span<const std::uint8_t> input,
                                    std::span<std::uint8_t> output, std::size_t* outputSize,
                                    const Deadline& deadline) {
  if (channel_ && !channel_->isQuiet()) channel_.reset();
  if (!channel_) {
    if (const IOReturn result = service_->reopen(type_, deadline, &channel_)) return result;
  }
  const IOReturn result = channel_->exchange(selector, input, output, outputSize, deadline);
  if (result != kIOReturnSuccess || !isProperAnswer(input, *outputSize)) service_->noteSilence();
  return result;
}

}  // namespace device_registry
