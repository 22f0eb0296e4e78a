// SPDX-License-Identifier: MIT
// One open connection to a driver: a SOCK_SEQPACKET socket that carries one packet per request and
// one per answer (protocol/dispatch.h).
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
  // Duplicates the descriptor that a driver returned, closed on exec. nullopt when it is no
  // SOCK_SEQPACKET socket.
  static std::optional<Channel> fromDriver(int descriptor);

  // Whether no packet is queued and the driver's end is open. Before a request, a queued packet is
  // a late answer, which would be taken for the answer to the request.
  bool isQuiet() const;

  // As IOConnectMethodStructureIStructureO. After any failure but kIOReturnOverrun the channel must
  // be closed: a late answer could be taken for the next request's.
  IOReturn exchange(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output, std::size_t* outputSize,
                    const Deadline& deadline);

  // The two halves of an exchange.
  IOReturn send(std::uint32_t selector, std::span<const std::uint8_t> input,
                const Deadline& deadline);
  IOReturn receive(std::span<std::uint8_t> output, std::size_t* outputSize,
                   const Deadline& deadline);

  int descriptor() const { return socket_.get(); }

 private:
  explicit Channel(FileDescriptor socket) : socket_(std::move(socket)) {}

  // Success also when a signal interrupted the wait: the caller retries.
  IOReturn wait(short events, const Deadline& deadline) const;

  FileDescriptor socket_;
};

}  // namespace device_registry
