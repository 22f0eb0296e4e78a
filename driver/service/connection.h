// SPDX-License-Identifier: MIT
// The driver's end of one open connection: request packets come in, answer packets go out.
//
// A request is one packet of a SOCK_SEQPACKET socket: the method selector, 0, as a 32-bit
// little-endian number, then the 260-byte record. A packet of another size or with another selector
// closes the connection. Requests are answered one after the other. A client that does not take its
// answers loses the connection once the socket is full; nothing here waits for it.
#pragma once

#include <memory>

#include "driver/service/request_handler.h"
#include "driver/service/timer.h"

namespace driver {

class Connection;

// Told what became of a connection. Both may destroy it.
class ConnectionOwner {
 public:
  // It ended, from the client's side or by a reply.
  virtual void connectionClosed(Connection* connection) = 0;
  // A reply made the interface leave the bus.
  virtual void interfaceLeft() = 0;

 protected:
  ~ConnectionOwner() = default;
};

class Connection {
 public:
  // Null when there are no descriptors left; otherwise *client receives the client's end. Handler
  // and owner must outlive the connection.
  static std::unique_ptr<Connection> open(sd_event* event, RequestHandler& handler,
                                          ConnectionOwner& owner, FileDescriptor* client);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // While paused, requests stay unread.
  void setPaused(bool paused);

 private:
  Connection(sd_event* event, FileDescriptor socket, RequestHandler& handler,
             ConnectionOwner& owner);

  static int ready(sd_event_source* source, int descriptor, std::uint32_t happened, void* self);
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
