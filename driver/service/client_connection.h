// SPDX-License-Identifier: MIT
// The driver's end of one open connection: request packets come in, answer packets go out.
//
// A request is one packet of a SOCK_SEQPACKET socket (protocol/dispatch.h). A packet of another
// size or with another selector closes the connection. Requests are answered one after the other. A
// client that does not take its answers loses the connection once the socket is full; nothing here
// waits for it.
#pragma once

#include <memory>

#include "driver/service/request_handler.h"
#include "driver/service/timer.h"

namespace driver {

class ClientConnection;

// Both functions may destroy the connection.
class ConnectionOwner {
 public:
  // The client or a reply closed the connection.
  virtual void connectionClosed(ClientConnection* connection) = 0;
  // A reply made the interface leave the USB bus.
  virtual void interfaceLeft() = 0;

 protected:
  ~ConnectionOwner() = default;
};

class ClientConnection {
 public:
  // Null when there are no descriptors left; otherwise *client receives the client's end. Handler
  // and owner must outlive the connection.
  static std::unique_ptr<ClientConnection> open(sd_event* event, RequestHandler& handler,
                                                ConnectionOwner& owner, FileDescriptor* client);
  ClientConnection(const ClientConnection&) = delete;
  ClientConnection& operator=(const ClientConnection&) = delete;

  // While paused, requests stay unread.
  void setPaused(bool paused);

 private:
  ClientConnection(sd_event* event, FileDescriptor socket, RequestHandler& handler,
                   ConnectionOwner& owner);

  static int ready(sd_event_source* source, int descriptor, std::uint32_t happened,
                   void* self) noexcept;
  void readRequest();
  void carryOut(Reply reply);
  void finish(const Reply& reply);
  bool send(const std::vector<std::uint8_t>& packet);
  void updateReading();

  FileDescriptor socket_;
  RequestHandler& handler_;
  ConnectionOwner& owner_;
  Timer delay_;
  EventSource readable_;
  bool paused_ = false;
};

}  // namespace driver
