// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/driver_probe.h"

#include <sys/epoll.h>

#include <cstdint>

#include "protocol/dispatch.h"
#include "protocol/services.h"

namespace device_registry {

DriverProbe::DriverProbe(sd_bus* bus, int watcher, const std::string& owner,
                         const std::string& path)
    : watcher_(watcher) {
  sd_bus_message* made = nullptr;
  sd_bus_message_new_method_call(bus, &made, owner.c_str(), path.c_str(), kServiceInterface,
                                 kOpenMethod);
  const session_bus::BusMessage message(made);
  sd_bus_slot* slot = nullptr;
  if (sd_bus_message_append(made, "u", kDispatchConnectionType) < 0 ||
      sd_bus_call_async(bus, &slot, made, opened, this, UINT64_MAX) < 0) {
    state_ = State::kRefused;
  }
  call_.reset(slot);
}

int DriverProbe::opened(sd_bus_message* message, void* self, sd_bus_error*) noexcept {
  static_cast<DriverProbe*>(self)->ask(message);
  return 0;
}

void DriverProbe::ask(sd_bus_message* reply) {
  int descriptor = -1;  // stays the message's
  if (!sd_bus_message_is_method_error(reply, nullptr) &&
      sd_bus_message_read(reply, "h", &descriptor) > 0) {
    channel_ = Channel::fromDriver(descriptor);
  }
  const VQ_Dispatch question(VQ_Command::kGetDriverVersion);
  epoll_event event{};
  event.events = EPOLLIN;
  if (!channel_ ||
      channel_->send(kDispatchSelector, question.bytes, Deadline(0)) != kIOReturnSuccess ||
      epoll_ctl(watcher_, EPOLL_CTL_ADD, channel_->descriptor(), &event) != 0) {
    state_ = State::kRefused;
  }
}

DriverProbe::State DriverProbe::read() {
  if (state_ != State::kWaiting || !channel_ || channel_->isQuiet()) return state_;
  VQ_Dispatch answer;
  std::size_t size = 0;
  // The channel is readable, so this does not wait.
  const IOReturn result = channel_->receive(answer.bytes, &size, Deadline(1));
  const bool answered = result == kIOReturnSuccess && size == answer.bytes.size();
  channel_.reset();
  return state_ = answered ? State::kAnswered : State::kRefused;
}

}  // namespace device_registry
