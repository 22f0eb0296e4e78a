// SPDX-License-Identifier: MIT
// One open connection to a driver: a SOCK_SEQPACKET socket that carries one packet per request and
// one per answer.
//
//   request  | selector, 4 bytes, little-endian | record |
//   answer   | record as returned |
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/device_registry/device_registry.h"
#include "platform/posix/posix.h"
#include "platform/session_bus/session_bus.h"

namespace device_registry {

using session_bus::Deadline;

class Channel {
 public:
  // Takes a copy of what a driver handed out, which a program started later does not inherit.
  // Nothing when it is no socket of the right type.
  static std::optional<Channel> fromDriver(int descriptor);

  // Nothing waits to be read and the driver has not closed its end. A channel that is not quiet
  // before a request is out of step: what waits would be taken for the answer.
  bool isQuiet() const;

  // As IOConnectMethodStructureIStructureO. After any failure but kIOReturnOverrun the channel is
  // of no more use: a late answer could be taken for the next one's.
  IOReturn exchange(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output, std::size_t* outputSize,
                    const Deadline& deadline);

 private:
  explicit Channel(FileDescriptor socket) : socket_(std::move(socket)) {}

  IOReturn send(std::uint32_t selector, std::span<const std::uint8_t> input,
                const Deadline& deadline);
  IOReturn receive(std::span<std::uint8_t> output, std::size_t* outputSize,
                   const Deadline& deadline);
  // Success also when the wait was interrupted: the caller tries and comes back.
  IOReturn wait(short events, const Deadline& deadline) const;

  FileDescriptor socket_;
};

}  // namespace device_registry
