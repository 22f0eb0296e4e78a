// SPDX-License-Identifier: MIT
#include "driver/service/client_connection.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace driver {

namespace {

bool makeNonBlocking(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  return flags >= 0 && fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0;
}

}  // namespace

std::unique_ptr<ClientConnection> ClientConnection::open(sd_event* event, RequestHandler& handler,
                                                         ConnectionOwner& owner,
                                                         FileDescriptor* client) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) return nullptr;
  FileDescriptor own(ends[0]);
  FileDescriptor other(ends[1]);
  // Non-blocking at this end only; the client chooses for its own.
  if (!makeNonBlocking(own.get())) return nullptr;

  const int descriptor = own.get();
  std::unique_ptr<ClientConnection> connection(
      new ClientConnection(event, std::move(own), handler, owner));
  sd_event_source* source = nullptr;
  if (sd_event_add_io(event, &source, descriptor, EPOLLIN, &ClientConnection::ready,
                      connection.get()) < 0) {
    return nullptr;
  }
  connection->readable_.reset(source);
  *client = std::move(other);
  return connection;
}

ClientConnection::ClientConnection(sd_event* event, FileDescriptor socket, RequestHandler& handler,
                                   ConnectionOwner& owner)
    : socket_(std::move(socket)), handler_(handler), owner_(owner), delay_(event) {}

void ClientConnection::setPaused(bool paused) {
  paused_ = paused;
  updateReading();
}

void ClientConnection::updateReading() {
  const bool reads = !paused_ && !delay_.running();
  // epoll reports a hang-up even so: connections that clients close are dropped while paused.
  sd_event_source_set_io_events(readable_.get(), reads ? std::uint32_t{EPOLLIN} : 0U);
}

int ClientConnection::ready(sd_event_source*, int, std::uint32_t happened, void* self) noexcept {
  auto* connection = static_cast<ClientConnection*>(self);
  // Requests that a client sent before it closed its end are dropped: it has given up on them.
  if ((happened & (EPOLLHUP | EPOLLERR)) != 0) {
    connection->owner_.connectionClosed(connection);
  } else {
    connection->readRequest();
  }
  return 0;
}

void ClientConnection::readRequest() {
  // One byte more than a request: a longer packet is cut to this size and refused. The kernel
  // closes descriptors that come with it.
  std::array<std::uint8_t, kRequestPacketSize + 1> packet{};
  const ssize_t size = recv(socket_.get(), packet.data(), packet.size(), MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  const auto request =
      recordOf(std::span(packet).first(static_cast<std::size_t>(std::max<ssize_t>(size, 0))));
  if (!request) {
    owner_.connectionClosed(this);
    return;
  }
  carryOut(handler_.handle(*request));
}

void ClientConnection::carryOut(Reply reply) {
  if (reply.delay.count() == 0) {
    finish(reply);
    return;
  }
  const auto delay = reply.delay;
  if (!delay_.start(delay, [this, held = std::move(reply)] {
        updateReading();
        finish(held);
      })) {
    owner_.connectionClosed(this);
    return;
  }
  updateReading();
}

// Calls at most one of the owner's functions, and calls it last: it may destroy the connection.
void ClientConnection::finish(const Reply& reply) {
  const bool sent = !reply.packet || send(*reply.packet);
  if (reply.leaveBus) {
    owner_.interfaceLeft();
  } else if (!sent || reply.closeConnection) {
    owner_.connectionClosed(this);
  }
}

bool ClientConnection::send(const std::vector<std::uint8_t>& packet) {
  return ::send(socket_.get(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) ==
         static_cast<ssize_t>(packet.size());
}

}  // namespace driver
