// SPDX-License-Identifier: MIT
// What the checks share: the driver service, the interface that is looked at, and what was noticed
// of it so far.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "driver/check/audio_nodes.h"
#include "driver/check/bus_client.h"
#include "driver/check/check.h"
#include "driver/check/limits.h"
#include "platform/posix/posix.h"
#include "protocol/dispatch.h"

namespace check {

struct Options {
  std::uint32_t interface = 0;  // its index
  bool intrusive = false;       // send what interrupts sound or reaches into the hardware
  std::string removal;          // shell commands, empty for none
  std::string restart;
};

using Bytes = std::vector<std::uint8_t>;

// "01 00 00 00", up to the last byte that is not zero, and at least four bytes.
std::string hex(std::span<const std::uint8_t> bytes);

// What arrived on a connection.
struct Packet {
  enum class Kind { bytes, closed, none };
  Kind kind = Kind::none;
  Bytes bytes;

  std::string text() const;
};

// False when the connection does not take the packet.
bool send(const FileDescriptor& connection, std::span<const std::uint8_t> packet);
Packet receive(const FileDescriptor& connection, int limitMs = kAnswerWaitMs);
bool isClosedWithin(const FileDescriptor& connection, int limitMs);

// The answer to a record.
struct Answer {
  // `none`: the connection was closed or nothing came in time; `wrong` also without a connection.
  enum class Kind { full, failed, none, wrong };
  Kind kind = Kind::wrong;
  VQ_Dispatch record;  // of a full one
  std::string came;

  bool isRight() const { return kind == Kind::full || kind == Kind::failed; }
};
Answer answerOf(const VQ_Dispatch& request, const Packet& packet);

// A setting that was sent.
struct Change {
  std::string what;
  bool isRouting = false;
  std::optional<bool> changed;  // whether the interface's state did, if that is known
  std::size_t begin = 0;  // the number of signals before; those up to the next change followed it
  Value properties;       // those that a changed routing has led to
};

// How an interface left and came back.
struct Departure {
  std::optional<Signal> removed;
  std::optional<Signal> added;
  bool closed = false;               // its connection was closed
  std::string openError;             // of Open at the old path
  std::optional<bool> nodeWasThere;  // when it was added; nullopt without PipeWire
  std::string failure;               // after which nothing was awaited
};

// Keeps the signals that would end the program waiting, so that an interrupted check sets back what
// it has set. When destroyed, one that waits ends the program.
class HeldInterruptions {
 public:
  HeldInterruptions();
  ~HeldInterruptions();
  HeldInterruptions(const HeldInterruptions&) = delete;
  HeldInterruptions& operator=(const HeldInterruptions&) = delete;
};
bool isInterrupted();

struct Session {
  // `options` outlives it.
  Session(const Options& options, std::unique_ptr<BusClient> client);

  // Finds the driver service and the interface, which the bus may start. False, with the reason,
  // when there is none.
  bool find(std::string* problem);

  // The objects with the service's interface, in the order in which clients sort them.
  std::vector<std::string> services() const;
  const Value& service() const;
  bool list();
  Value properties() { return bus->registryProperties(path.c_str()); }
  // A routing's source in them; -1 when they do not have it.
  std::int32_t announcedRouting(bool input, std::int32_t pair);

  // Sends a request on the session's connection, which is opened when there is none.
  Answer ask(const VQ_Dispatch& request);
  // The record of a full answer. Another answer is noted in the verdict; a command that the driver
  // fails is one that the interface does not have, if it is not needed.
  std::optional<VQ_Dispatch> read(const VQ_Dispatch& request, Verdict& verdict,
                                  bool isNeeded = false);
  std::optional<VQ_Dispatch> need(const VQ_Dispatch& request, Verdict& verdict) {
    return read(request, verdict, true);
  }
  FileDescriptor open(Verdict& verdict);

  // Notes a change. Runs `send`, which returns whether the state changed, and if it did waits for a
  // driver message.
  void change(const std::string& what, bool isRouting,
              const std::function<std::optional<bool>()>& send);
  // What the driver has announced of the interface after a change, up to now or the next one.
  std::vector<Signal> signalsAfter(const Change& change) const;

  // Runs `cause`, and if that is true waits for the interface to leave and come back; no longer
  // once `failure` is not empty or the driver service has ended.
  Departure awaitDeparture(
      const std::function<bool()>& cause,
      const std::function<std::string()>& failure = [] { return ""; });
  // The departure that the user's command causes; nullptr without a command.
  const Departure* removal();

  // The nodes by which clients find an audio device, of all interfaces. Empty without PipeWire,
  // too: then `audio` is null.
  std::vector<Node> allNodes();
  // Those with the interface's object path, or when none has one all.
  std::vector<Node> nodes();

  // Why no further check can be run; empty while some can.
  std::string obstacle();

  const Options& options;
  std::unique_ptr<BusClient> bus;
  std::unique_ptr<AudioNodes> audio;  // null without PipeWire, for this reason:
  std::string audioProblem;
  std::string path;           // the interface's object
  Value objects;              // as listed
  FileDescriptor connection;  // of ask(); empty when the next request opens one
  int unanswered = 0;         // requests in a row
  std::vector<double> answerMs;
  std::vector<Change> changes;
  std::vector<unsigned> writeAnswers;    // how often each node has answered each write
  std::optional<Departure> userRemoval;  // that removal() has awaited
};

// Runs a shell command beside the checks, with its output on standard error. Waits for it when
// destroyed, and after a limit or an interruption ends it and what it started.
class ShellCommand {
 public:
  explicit ShellCommand(const std::string& command);
  ~ShellCommand();
  ShellCommand(const ShellCommand&) = delete;
  ShellCommand& operator=(const ShellCommand&) = delete;

  // "the command ended with 127"; empty while it runs and when it has succeeded.
  std::string failure();

 private:
  // Whether it has ended within the limit.
  bool awaitEnd(int limitMs);

  pid_t process_ = -1;  // -1 when there is none to wait for
  std::string failure_;
};

}  // namespace check
