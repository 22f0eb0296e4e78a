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
  constexpr int kNoticeableMs = 10;
  const DriverWaits::Call wait(driverWaits(), kRegistryCallLimitMs);
  if (wait.limitMs() == 0) {
    tell_(Event::kSpared);
    return kIOReturnTimeout;
  }
  wasAsked_ = true;
  tell_(Event::kAsked);
  isShortened_ = wait.limitMs() < kRegistryCallLimitMs;
  const Deadline deadline(wait.limitMs());
  const IOReturn result = call(deadline);
  if (wait.limitMs() - deadline.milliseconds() >= kNoticeableMs) tell_(Event::kWaited);
  return result;
}

// The driver cannot be blamed for a timeout before its time.
void DriverService::noteFailure(IOReturn result) {
  tell_(isShortened_ && result == kIOReturnTimeout ? Event::kSpared : Event::kSilence);
}

// An error reply is an answer, too: a driver may have no properties.
IOReturn DriverService::readProperties(CFDictionary* properties) {
  return withinLimit([&](const Deadline& deadline) {
    const IOReturn result = calls_.readProperties(path_, deadline, properties);
    if (result == kIOReturnTimeout) noteFailure(result);
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
  if (result != kIOReturnSuccess) noteFailure(result);
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
  if (result != kIOReturnSuccess || !isProperAnswer(input, *outputSize)) {
    service_->noteFailure(result);
  }
  return result;
}

}  // namespace device_registry
