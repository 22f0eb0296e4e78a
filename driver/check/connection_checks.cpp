// SPDX-License-Identifier: MIT
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "driver/check/session.h"
#include "driver/check/settings_checks.h"
#include "protocol/services.h"

namespace check {

namespace {

constexpr std::uint32_t kUnknownCommand = 99;
constexpr std::size_t kConnectionsOfOneName = 16;
// More than any socket holds, and the time in which they can be sent.
constexpr int kUnreadRequests = 100000;
constexpr int kUnreadLimitMs = 10000;

VQ_Dispatch version() { return VQ_Dispatch(VQ_Command::kGetDriverVersion); }

Bytes packetOf(const VQ_Dispatch& record, std::uint32_t selector = kDispatchSelector) {
  return requestPacket(selector, record.bytes);
}

void checkSocket(Session& session, Verdict& verdict) {
  const FileDescriptor opened = session.open(verdict);
  if (!opened) return;
  int type = 0;
  socklen_t size = sizeof type;
  ::getsockopt(opened.get(), SOL_SOCKET, SO_TYPE, &type, &size);
  verdict.expect(type == SOCK_SEQPACKET, "a socket of type SOCK_SEQPACKET",
                 "type " + std::to_string(type));
}

void checkTwoClients(Session& session, Verdict& verdict) {
  const FileDescriptor one = session.open(verdict);
  const FileDescriptor other = session.open(verdict);
  for (const FileDescriptor* connection : {&one, &other, &one}) {
    if (!*connection) return;
    send(*connection, packetOf(version()));
    const Answer answer = answerOf(version(), receive(*connection));
    verdict.expect(answer.kind == Answer::Kind::full, "an answer on each of two connections",
                   answer.came);
  }
}

void checkWrongType(Session& session, Verdict& verdict) {
  std::string error;
  const auto opened = session.bus->open(session.path.c_str(), 1, &error);
  verdict.expect(!opened && error == SD_BUS_ERROR_INVALID_ARGS, SD_BUS_ERROR_INVALID_ARGS,
                 opened ? "a connection of type 1" : error);
}

// Opens connections to all interfaces in turn, up to `number` or an error.
std::vector<FileDescriptor> openMany(BusClient& client, const Session& session, std::size_t number,
                                     std::string* error) {
  const auto paths = session.services();
  std::vector<FileDescriptor> held;
  while (held.size() < number) {
    const std::string& path = paths[held.size() % paths.size()];
    FileDescriptor opened = client.open(path.c_str(), kDispatchConnectionType, error);
    if (!opened) break;
    held.push_back(std::move(opened));
  }
  return held;
}

void checkLimit(Session& session, Verdict& verdict) {
  std::string problem;
  const auto client = BusClient::connect(&problem);
  if (!client || !client->findOwner()) return verdict.skip("no second client: " + problem);
  const auto held = openMany(*client, session, kConnectionsOfOneName + 1, &problem);
  verdict.expect(held.size() <= kConnectionsOfOneName && problem == SD_BUS_ERROR_LIMITS_EXCEEDED,
                 SD_BUS_ERROR_LIMITS_EXCEEDED + std::string(" for the 17th"),
                 std::to_string(held.size()) + " connections, then " +
                     (problem.empty() ? "no error" : problem));
  verdict.expect(held.size() >= kConnectionsOfOneName, "16 connections",
                 std::to_string(held.size()) + ", then " + problem);
  std::string other;
  verdict.expect(
      static_cast<bool>(session.bus->open(session.path.c_str(), kDispatchConnectionType, &other)),
      "a connection for another client", other);
}

void checkNameLeaves(Session& session, Verdict& verdict) {
  std::string problem;
  auto client = BusClient::connect(&problem);
  if (!client || !client->findOwner()) return verdict.skip("no second client: " + problem);
  const auto held = openMany(*client, session, 1, &problem);
  if (!verdict.expect(!held.empty(), "a connection", problem)) return;
  client.reset();
  verdict.expect(isClosedWithin(held[0], kBusLimitMs), "the end of the connection",
                 "none within 1 s");
}

void checkSizes(Session& session, Verdict& verdict) { session.need(version(), verdict); }

void checkOrder(Session& session, Verdict& verdict) {
  const FileDescriptor opened = session.open(verdict);
  const std::array requests = {version(), VQ_Dispatch(VQ_Command::kGetDeviceDescriptor),
                               VQ_Dispatch(static_cast<VQ_Command>(kUnknownCommand)), version()};
  for (const VQ_Dispatch& request : requests) send(opened, packetOf(request));
  for (const VQ_Dispatch& request : requests) {
    const Answer answer = answerOf(request, receive(opened));
    verdict.expect(answer.isRight(),
                   "the answer to command " + hex(std::span(request.bytes).first<4>()),
                   answer.came);
  }
}

void checkUnusedBytes(Session& session, Verdict& verdict) {
  constexpr std::uint8_t kSent = 0xA5;
  constexpr std::size_t kDefined = 8;  // of the version's payload
  VQ_Dispatch request = version();
  std::ranges::fill(request.payload(), kSent);
  const auto answer = session.read(request, verdict);
  if (!answer) return;
  for (const std::uint8_t byte : answer->payload().subspan(kDefined)) {
    verdict.expect(byte == kSent || byte == 0, "a5 or 00", hex(std::array{byte}));
  }
}

void checkUnknown(Session& session, Verdict& verdict) {
  for (const std::uint32_t number : {kUnknownCommand, 0xFFFFFFFFu}) {
    const Answer answer = session.ask(VQ_Dispatch(static_cast<VQ_Command>(number)));
    verdict.expect(answer.kind == Answer::Kind::failed,
                   "4 bytes for command " + std::to_string(number), answer.came);
  }
}

void checkProtocolErrors(Session& session, Verdict& verdict) {
  const Bytes right = packetOf(version());
  std::vector<std::pair<std::string, Bytes>> packets = {
      {"with selector 1", packetOf(version(), 1)}};
  for (const std::size_t size : {4u, 260u, 263u, 265u, 1024u}) {
    packets.emplace_back("of " + std::to_string(size) + " bytes", right);
    packets.back().second.resize(size);
  }
  for (const auto& [what, packet] : packets) {
    const FileDescriptor opened = session.open(verdict);
    if (!opened) return;
    send(opened, packet);
    const Packet answer = receive(opened);
    verdict.expect(answer.kind == Packet::Kind::closed,
                   "the end of the connection after a packet " + what, answer.text());
  }
}

void checkUnread(Session& session, Verdict& verdict) {
  const FileDescriptor opened = session.open(verdict);
  const Bytes packet = packetOf(version());
  // The driver closes it while requests are still being sent, or once it has read those that wait.
  bool closed = false;
  const session_bus::Deadline deadline(kUnreadLimitMs);
  for (int i = 0; opened && i < kUnreadRequests && !closed && !deadline.hasPassed(); ++i) {
    if (send(opened, packet)) continue;
    if (errno != EAGAIN) break;
    pollfd waited{opened.get(), POLLOUT, 0};
    if (::poll(&waited, 1, kBusLimitMs) <= 0) break;
    closed = (waited.revents & POLLHUP) != 0;
  }
  verdict.expect(closed || isClosedWithin(opened, kBusLimitMs), "the end of the connection",
                 "none");
  session.need(version(), verdict);  // on another connection
}

constexpr std::array kChecks = {
    Check{"Open(2) returns one end of a SOCK_SEQPACKET socket pair", checkSocket},
    Check{"Any number of clients may have connections to one interface", checkTwoClients},
    Check{"org.freedesktop.DBus.Error.InvalidArgs: a type other than 2", checkWrongType},
    Check{"A driver keeps at most 16 connections for one unique bus name, over all of its "
          "interfaces, so that no client keeps the others out",
          checkLimit},
    Check{"When the name leaves the bus, the driver closes the connections", checkNameLeaves},
    Check{"A request is one packet, its answer is one packet", checkSizes},
    Check{"answers come in the order of the requests", checkOrder},
    Check{"Payload bytes that a command does not define come back as they were sent, or as zero",
          checkUnusedBytes},
    Check{"the command is unknown, or does not apply, or an index does not exist — is answered "
          "with 4 bytes, the command number alone",
          checkUnknown},
    Check{"A setting that the interface does not take is not a failed request: the answer has the "
          "value that the interface then has",
          checkSettingsNotTaken},
    Check{"A packet of another size, or with another selector, is a protocol error: the driver "
          "closes the connection",
          checkProtocolErrors},
    Check{"When a client does not read its answers and the socket is full, the driver closes the "
          "connection",
          checkUnread},
};

}  // namespace

std::span<const Check> connectionChecks() { return kChecks; }

}  // namespace check
