// SPDX-License-Identifier: MIT
// The channel of one open driver connection: a SOCK_SEQPACKET socket that carries one packet per
// request and one per answer.
//
//   request  | selector, 4 bytes, little-endian | record |
//   answer   | record as returned |
//
// Thread: that of the registry's operations.
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
  // Duplicates the descriptor that a driver handed out, with close-on-exec. nullopt when it is not
  // a SOCK_SEQPACKET socket.
  static std::optional<Channel> fromDriver(int descriptor);

  // True when no packet waits to be read and the driver has not closed its end. Check it before a
  // request: a waiting packet would be mistaken for the answer.
  bool isQuiet() const;

  // As IOConnectMethodStructureIStructureO. After any failure except kIOReturnOverrun, close the
  // channel: a late answer could be mistaken for the next request's.
  IOReturn exchange(std::uint32_t selector, std::span<const std::uint8_t> input,
                    std::span<std::uint8_t> output, std::size_t* outputSize,
                    const Deadline& deadline);

 private:
  explicit Channel(FileDescriptor socket) : socket_(std::move(socket)) {}

  IOReturn send(std::uint32_t selector, std::span<const std::uint8_t> input,
                const Deadline& deadline);
  IOReturn receive(std::span<std::uint8_t> output, std::size_t* outputSize,
                   const Deadline& deadline);
  // Waits for `events`. Returns success also when a signal ended the wait early: the caller tries
  // again.
  IOReturn wait(short events, const Deadline& deadline) const;

  FileDescriptor socket_;
};

}  // namespace device_registry
