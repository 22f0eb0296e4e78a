// SPDX-License-Identifier: MIT
#include "platform/device_registry/dbus/channel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "protocol/dispatch.h"

namespace device_registry {

namespace {

short eventsNow(int socket, short events) {
  pollfd watched{socket, events, 0};
  return poll(&watched, 1, 0) > 0 ? watched.revents : short{0};
}

bool shouldTryAgain() { return errno == EINTR || errno == EAGAIN; }

}  // namespace

std::optional<Channel> Channel::fromDriver(int descriptor) {
  FileDescriptor copy(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  int type = 0;
  socklen_t size = sizeof type;
  if (getsockopt(copy.get(), SOL_SOCKET, SO_TYPE, &type, &size) != 0 || type != SOCK_SEQPACKET) {
    return std::nullopt;
  }
  return Channel(std::move(copy));
}

bool Channel::isQuiet() const { return eventsNow(socket_.get(), POLLIN | POLLRDHUP) == 0; }

IOReturn Channel::exchange(std::uint32_t selector, std::span<const std::uint8_t> input,
                           std::span<std::uint8_t> output, std::size_t* outputSize,
                           const Deadline& deadline) {
  if (const IOReturn result = send(selector, input, deadline)) return result;
  return receive(output, outputSize, deadline);
}

IOReturn Channel::wait(short events, const Deadline& deadline) const {
  if (deadline.hasPassed()) return kIOReturnTimeout;
  pollfd watched{socket_.get(), events, 0};
  poll(&watched, 1, deadline.milliseconds());
  return kIOReturnSuccess;
}

IOReturn Channel::send(std::uint32_t selector, std::span<const std::uint8_t> input,
                       const Deadline& deadline) {
  const std::vector<std::uint8_t> packet = requestPacket(selector, input);
  // MSG_NOSIGNAL: a driver that closed its end is an error, not SIGPIPE.
  while (::send(socket_.get(), packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
    if (!shouldTryAgain()) return kIOReturnError;
    if (const IOReturn result = wait(POLLOUT, deadline)) return result;
  }
  return kIOReturnSuccess;
}

IOReturn Channel::receive(std::span<std::uint8_t> output, std::size_t* outputSize,
                          const Deadline& deadline) {
  std::vector<std::uint8_t> packet(output.size());
  ssize_t size = -1;
  do {
    if (const IOReturn result = wait(POLLIN, deadline)) return result;
    // MSG_TRUNC: returns the answer's size even when it is larger than the buffer.
    size = recv(socket_.get(), packet.data(), packet.size(), MSG_TRUNC | MSG_DONTWAIT);
    if (size < 0 && !shouldTryAgain()) return kIOReturnError;
  } while (size < 0);
  // recv() returns 0 for an empty answer and for the end of the channel.
  if (size == 0 && eventsNow(socket_.get(), POLLRDHUP) != 0) return kIOReturnError;
  const auto answered = static_cast<std::size_t>(size);
  if (answered > output.size()) return kIOReturnOverrun;
  std::copy_n(packet.begin(), answered, output.begin());
  *outputSize = answered;
  return kIOReturnSuccess;
}

}  // namespace device_registry
