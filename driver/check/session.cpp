// SPDX-License-Identifier: MIT
#include "driver/check/session.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <utility>

#include "protocol/natural_order.h"
#include "protocol/services.h"

namespace check {

namespace {

constexpr int kUnansweredLimit = 3;
constexpr std::array kInterruptions = {SIGINT, SIGTERM, SIGHUP};
// Larger than any answer, so that one that is too long shows its size.
constexpr std::size_t kPacketRoom = 65536;

void maskInterruptions(int how) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kInterruptions) sigaddset(&signals, signal);
  sigprocmask(how, &signals, nullptr);
}

}  // namespace

HeldInterruptions::HeldInterruptions() { maskInterruptions(SIG_BLOCK); }
HeldInterruptions::~HeldInterruptions() { maskInterruptions(SIG_UNBLOCK); }

bool isInterrupted() {
  sigset_t waiting;
  sigpending(&waiting);
  return std::ranges::any_of(kInterruptions,
                             [&](int signal) { return sigismember(&waiting, signal) == 1; });
}

std::string hex(std::span<const std::uint8_t> bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::size_t count = bytes.size();
  while (count > 4 && bytes[count - 1] == 0) --count;
  std::string text;
  for (const std::uint8_t byte : bytes.first(count)) {
    if (!text.empty()) text += ' ';
    text += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return text;
}

std::string Packet::text() const {
  if (kind == Kind::none) return "nothing within " + std::to_string(kAnswerWaitMs) + " ms";
  if (kind == Kind::closed) return "the end of the connection";
  return std::to_string(bytes.size()) + " bytes";
}

bool send(const FileDescriptor& connection, std::span<const std::uint8_t> packet) {
  return ::send(connection.get(), packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
         static_cast<ssize_t>(packet.size());
}

Packet receive(const FileDescriptor& connection, int limitMs) {
  pollfd waited{connection.get(), POLLIN, 0};
  if (::poll(&waited, 1, limitMs) <= 0) return {};
  Bytes bytes(kPacketRoom);
  const ssize_t size = ::recv(connection.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
  if (size < 0) return {Packet::Kind::closed, {}};
  bytes.resize(static_cast<std::size_t>(size));
  // An empty packet reads as the end of the connection does.
  ::poll(&waited, 1, 0);
  if (size == 0 && (waited.revents & POLLHUP) != 0) return {Packet::Kind::closed, {}};
  return {Packet::Kind::bytes, std::move(bytes)};
}

bool isClosedWithin(const FileDescriptor& connection, int limitMs) {
  pollfd waited{connection.get(), 0, 0};  // POLLHUP always counts
  return ::poll(&waited, 1, limitMs) > 0 && (waited.revents & POLLHUP) != 0;
}

Answer answerOf(const VQ_Dispatch& request, const Packet& packet) {
  Answer answer{Answer::Kind::wrong, {}, packet.text()};
  if (packet.kind != Packet::Kind::bytes) answer.kind = Answer::Kind::none;
  if (packet.bytes.size() < kDispatchRefusalSize) return answer;
  if (std::memcmp(packet.bytes.data(), request.bytes.data(), kDispatchRefusalSize) != 0) {
    answer.came += " with the command number " + hex(std::span(packet.bytes).first<4>());
  } else if (packet.bytes.size() == kDispatchRefusalSize) {
    answer.kind = Answer::Kind::failed;
  } else if (packet.bytes.size() == VQ_Dispatch::kSize) {
    answer.kind = Answer::Kind::full;
    std::ranges::copy(packet.bytes, answer.record.bytes.begin());
  }
  return answer;
}

Session::Session(const Options& given, std::unique_ptr<BusClient> client)
    : options(given), bus(std::move(client)) {
  audio = AudioNodes::connect(&audioProblem);
}

const Value& Session::service() const { return at(objects, {path.c_str(), kServiceInterface}); }

bool Session::find(std::string* problem) {
  const Reply started = bus->startDriver();
  if (!bus->findOwner()) {
    *problem = started.error == SD_BUS_ERROR_SERVICE_UNKNOWN
                   ? "no driver service is running or installed"
                   : "the bus cannot start the driver service: " + started.error;
  } else if (!list()) {
    *problem = "the driver service does not list its interfaces";
  } else if (services().size() <= options.interface) {
    *problem = "there is no interface " + std::to_string(options.interface) + " of " +
               std::to_string(services().size());
  } else {
    path = services()[options.interface];
    return true;
  }
  return false;
}

bool Session::list() {
  const Reply reply = bus->call(kDriverPath, kObjectManagerInterface, "GetManagedObjects");
  if (reply.succeeded && reply.values.size() == 1) objects = reply.values[0];
  return reply.succeeded;
}

std::vector<std::string> Session::services() const {
  std::vector<std::string> paths;
  if (!objects.is_object()) return paths;
  for (const auto& [object, interfaces] : objects.items()) {
    if (interfaces.contains(kServiceInterface)) paths.push_back(object);
  }
  std::ranges::sort(paths, NaturalOrder{});
  return paths;
}

std::int32_t Session::announcedRouting(bool input, std::int32_t pair) {
  const Value all = properties();
  const Value& source =
      at(all, {"value", kRoutingsKey, "value", routingKey(input, pair).c_str(), "value"});
  return source.is_number_integer() ? source.get<std::int32_t>() : -1;
}

Answer Session::ask(const VQ_Dispatch& request) {
  std::string error;
  if (!connection) connection = bus->open(path.c_str(), kDispatchConnectionType, &error);
  if (!connection) return {Answer::Kind::wrong, {}, "no connection: " + error};
  const auto begin = std::chrono::steady_clock::now();
  send(connection, requestPacket(kDispatchSelector, request.bytes));
  const Packet packet = receive(connection);
  answerMs.push_back(
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
  unanswered = packet.kind == Packet::Kind::none ? unanswered + 1 : 0;
  Answer answer = answerOf(request, packet);
  // Its answer, or the rest of it, could be mistaken for the next one.
  if (!answer.isRight()) connection.reset();
  return answer;
}

std::optional<VQ_Dispatch> Session::read(const VQ_Dispatch& request, Verdict& verdict,
                                         bool isNeeded) {
  const std::string command =
      "command " + std::to_string(static_cast<std::uint32_t>(request.command()));
  const Answer answer = ask(request);
  if (answer.kind == Answer::Kind::full) return answer.record;
  if (answer.kind == Answer::Kind::failed && !isNeeded) {
    verdict.skip("the driver fails " + command + ": the interface does not have it");
  } else {
    verdict.expect(false, "an answer of 260 bytes to " + command, answer.came);
  }
  return std::nullopt;
}

FileDescriptor Session::open(Verdict& verdict) {
  std::string error;
  FileDescriptor opened = bus->open(path.c_str(), kDispatchConnectionType, &error);
  verdict.expect(static_cast<bool>(opened), "a connection", error);
  return opened;
}

void Session::change(const std::string& what, bool isRouting,
                     const std::function<std::optional<bool>()>& send) {
  bus->settle();
  changes.push_back({what, isRouting, std::nullopt, bus->signals.size(), nullptr});
  const auto isMessage = [](const Signal& signal) { return signal.member == kMessageSignal; };
  const auto changed = send();
  changes.back().changed = changed;
  if (changed != true) return;
  bus->waitFor([&] { return std::ranges::any_of(signalsAfter(changes.back()), isMessage); },
               kBusLimitMs);
  if (isRouting) changes.back().properties = properties();
}

std::vector<Signal> Session::signalsAfter(const Change& change) const {
  const bool isLast = &change == &changes.back();
  const std::size_t end = isLast ? bus->signals.size() : (&change + 1)->begin;
  std::vector<Signal> found;
  for (std::size_t i = change.begin; i < end; ++i) {
    if (bus->signals[i].path == path) found.push_back(bus->signals[i]);
  }
  return found;
}

Departure Session::awaitDeparture(const std::function<bool()>& cause,
                                  const std::function<std::string()>& failure) {
  Departure departure;
  std::string error;
  const FileDescriptor held = bus->open(path.c_str(), kDispatchConnectionType, &error);
  bus->settle();
  const std::size_t before = bus->signals.size();
  const auto find = [&](const char* member, auto&& isIt) {
    std::optional<Signal> found;
    for (std::size_t i = before; i < bus->signals.size() && !found; ++i) {
      const Signal& signal = bus->signals[i];
      if (signal.member == member && signal.arguments.size() == 2 && isIt(signal.arguments)) {
        found = signal;
      }
    }
    return found;
  };
  const auto hasFailed = [&] {
    departure.failure = failure();
    if (departure.failure.empty() && !bus->ownerIsThere()) {
      departure.failure = obstacle();
    }
    if (isInterrupted()) departure.failure = "an interruption";
    return !departure.failure.empty();
  };
  if (!cause()) return departure;
  bus->waitFor(
      [&] {
        departure.removed =
            find("InterfacesRemoved", [&](const Value& arguments) { return arguments[0] == path; });
        return departure.removed || hasFailed();
      },
      kActionLimitMs);
  if (!departure.removed) return departure;
  departure.closed = isClosedWithin(held, kBusLimitMs);
  bus->open(path.c_str(), kDispatchConnectionType, &departure.openError);
  bus->waitFor(
      [&] {
        departure.added = find("InterfacesAdded", [&](const Value& arguments) {
          return !at(arguments[1], {kServiceInterface}).is_null();
        });
        return departure.added || hasFailed();
      },
      kActionLimitMs);
  connection.reset();
  if (!departure.added) return departure;
  const Value& added = departure.added->arguments[0];
  if (added.is_string()) path = added.get<std::string>();
  const bool isThere = !nodes().empty();
  if (audio) departure.nodeWasThere = isThere;
  list();
  return departure;
}

const Departure* Session::removal() {
  if (options.removal.empty()) return nullptr;
  if (!userRemoval) {
    std::unique_ptr<ShellCommand> command;
    userRemoval = awaitDeparture(
        [&] {
          command = std::make_unique<ShellCommand>(options.removal);
          return true;
        },
        [&] { return command->failure(); });
  }
  return &*userRemoval;
}

std::vector<Node> Session::allNodes() {
  if (audio && !audio->sync()) {
    audioProblem = audio->isLost() ? "PipeWire has ended" : "PipeWire does not answer";
    audio.reset();
  }
  return audio ? audio->named(kVX310AudioDeviceName) : std::vector<Node>();
}

std::vector<Node> Session::nodes() {
  std::vector<Node> found = allNodes();
  if (std::ranges::any_of(found, [](const Node& node) { return !node.object.empty(); })) {
    std::erase_if(found, [this](const Node& node) { return node.object != path; });
  }
  return found;
}

std::string Session::obstacle() {
  // The bus may tell of its end only after it did not answer.
  if (!bus->ownerAnswers()) {
    if (!bus->isConnected()) return "the session bus has gone";
    return bus->ownerIsThere() ? "the driver service does not answer"
                               : "the driver service has ended";
  }
  if (unanswered >= kUnansweredLimit) return "the driver does not answer requests";
  return "";
}

ShellCommand::ShellCommand(const std::string& command) {
  std::string shell = "sh";
  std::string option = "-c";
  std::string words = command;
  std::array<char*, 4> arguments = {shell.data(), option.data(), words.data(), nullptr};
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  // Standard output has the findings. A process group of its own cannot read from the terminal.
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t usual;
  sigemptyset(&usual);
  sigaddset(&usual, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  sigset_t blocked;
  sigemptyset(&blocked);
  posix_spawnattr_setsigmask(&attributes, &blocked);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  const int result =
      ::posix_spawn(&process_, "/bin/sh", &files, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  if (result == 0) return;
  process_ = -1;
  failure_ = std::string("the command cannot be run: ") + std::strerror(result);
}

ShellCommand::~ShellCommand() {
  const session_bus::Deadline deadline(kActionLimitMs);
  while (!isInterrupted() && !deadline.hasPassed()) {
    if (awaitEnd(kAskAgainMs)) return;
  }
  if (awaitEnd(0)) return;
  ::kill(-process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

std::string ShellCommand::failure() {
  awaitEnd(0);
  return failure_;
}

bool ShellCommand::awaitEnd(int limitMs) {
  if (process_ < 0) return true;
  const FileDescriptor ended(static_cast<int>(::syscall(SYS_pidfd_open, process_, 0)));
  pollfd waited{ended.get(), POLLIN, 0};
  int status = 0;
  if (::poll(&waited, 1, limitMs) <= 0 || ::waitpid(process_, &status, 0) != process_) return false;
  process_ = -1;
  if (WIFSIGNALED(status)) {
    failure_ = "the command was ended by signal " + std::to_string(WTERMSIG(status));
  } else if (WEXITSTATUS(status) != 0) {
    failure_ = "the command ended with " + std::to_string(WEXITSTATUS(status));
  }
  return true;
}

}  // namespace check
