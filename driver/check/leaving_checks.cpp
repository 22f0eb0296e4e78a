// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>

#include "driver/check/settings_checks.h"
#include "protocol/services.h"

namespace check {

namespace {

constexpr const char* kNoRemoval = "--removal COMMAND makes the interface leave and come back";

// How the interface left and came back, when the user's command made it.
const Departure* removal(Session& session, Verdict& verdict) {
  const Departure* found = session.removal();
  if (!found) {
    verdict.skip(kNoRemoval);
  } else if (!verdict.expect(found->failure.empty(), "a removal", found->failure)) {
    return nullptr;
  }
  return found;
}

void expectReturn(const Departure& departure, Verdict& verdict) {
  verdict.expect(departure.removed.has_value(), "InterfacesRemoved", "none within 60 s");
  verdict.expect(!departure.removed || departure.added, "InterfacesAdded", "none within 60 s");
  verdict.expect(!departure.removed || departure.closed, "the end of its connections",
                 "none within 1 s");
}

void checkRemoved(Session& session, Verdict& verdict) {
  const Departure* left = removal(session, verdict);
  if (!left || !verdict.expect(left->removed.has_value(), "the signal", "none within 60 s")) return;
  const Value& names = left->removed->arguments[1];
  verdict.expect(std::find(names.begin(), names.end(), kServiceInterface) != names.end(),
                 kServiceInterface, textOf(names));
}

void checkClosed(Session& session, Verdict& verdict) {
  const Departure* left = removal(session, verdict);
  if (!left) return;
  verdict.expect(left->closed, "the end of the connection", "none within 1 s");
}

void checkGone(Session& session, Verdict& verdict) {
  const Departure* left = removal(session, verdict);
  if (!left) return;
  verdict.expect(left->openError == SD_BUS_ERROR_UNKNOWN_OBJECT ||
                     left->openError == SD_BUS_ERROR_UNKNOWN_METHOD,
                 "UnknownObject or UnknownMethod",
                 left->openError.empty() ? "a connection" : left->openError);
}

void checkAdded(Session& session, Verdict& verdict) {
  const Departure* left = removal(session, verdict);
  if (!left || !verdict.expect(left->added.has_value(), "the signal", "none within 60 s")) return;
  const Value& name =
      at(left->added->arguments[1], {kServiceInterface, kClassNameProperty, "value"});
  verdict.expect(name.is_string(), "InterfacesAdded with ClassName", textOf(name));
  session.need(VQ_Dispatch(VQ_Command::kGetDriverVersion), verdict);
}

void checkNewPath(Session& session, Verdict& verdict) {
  const Departure* left = removal(session, verdict);
  if (!left || !verdict.expect(left->removed && left->added, "both signals", "not both")) return;
  verdict.expect(left->added->arguments[0] != left->removed->arguments[0], "another path",
                 textOf(left->added->arguments[0]));
}

void checkNodeFirst(Session& session, Verdict& verdict) {
  const Departure* left = removal(session, verdict);
  if (!left) return;
  if (!left->nodeWasThere) return verdict.skip(session.audioProblem);
  if (!*left->nodeWasThere && session.nodes().empty()) {
    return verdict.skip("there is no node \"VX-310\"");
  }
  verdict.expect(*left->nodeWasThere, "the node when the object was added", "none yet");
}

void checkNodeLast(Session& session, Verdict& verdict) {
  const Departure* left = removal(session, verdict);
  if (!left || !verdict.expect(left->removed.has_value(), "the signal", "none within 60 s")) return;
  if (session.allNodes().empty()) {
    return verdict.skip(session.audio ? "there is no node \"VX-310\"" : session.audioProblem);
  }
  const auto isGone = [&] {
    return std::ranges::none_of(session.audio->named(kVX310AudioDeviceName), [&](const Node& node) {
      return left->removed->arguments[0] == node.object;
    });
  };
  verdict.expect(session.audio->waitFor(isGone, kBusLimitMs),
                 "no node of an interface that has left", "one after 1 s");
}

// `answered` says whether the request is answered before the interface leaves.
void checkLeaves(Session& session, Verdict& verdict, const VQ_Dispatch& request, bool answered) {
  if (!session.options.intrusive) return verdict.skip("--intrusive sends it");
  // On a connection that does not work there is no answer either.
  if (!session.read(VQ_Dispatch(VQ_Command::kGetDriverVersion), verdict)) return;
  Answer answer;
  const auto expected = answered ? Answer::Kind::full : Answer::Kind::none;
  const Departure left = session.awaitDeparture([&] {
    answer = session.ask(request);
    return answer.kind == expected;
  });
  if (answer.kind == Answer::Kind::failed) {
    return verdict.skip("the driver fails it: the interface does not have it");
  }
  if (!verdict.expect(answer.kind == expected, answered ? "an answer" : "no answer", answer.came)) {
    return;
  }
  verdict.expect(left.failure.empty(), "the interface again", left.failure);
  expectReturn(left, verdict);
}

void checkReenumerate(Session& session, Verdict& verdict) {
  checkLeaves(session, verdict, VQ_Dispatch(VQ_Command::kReenumerateDevice), false);
}

void checkReplug(Session& session, Verdict& verdict) {
  checkLeaves(session, verdict, usbRequest(kReplugRequest, EDIR_HostToDevice, 0), true);
}

void checkRestart(Session& session, Verdict& verdict) {
  if (session.options.restart.empty()) {
    return verdict.skip("--restart COMMAND ends the driver service and starts it again");
  }
  FileDescriptor held = session.open(verdict);
  const std::size_t before = session.bus->signals.size();
  // The arguments are the name, its old and its new owner, which is empty for none.
  const auto ownerChanged = [&](std::size_t missing) {
    const auto& signals = session.bus->signals;
    return std::any_of(signals.begin() + static_cast<std::ptrdiff_t>(before), signals.end(),
                       [missing](const Signal& signal) {
                         return signal.member == "NameOwnerChanged" &&
                                signal.arguments.size() == 3 &&
                                signal.arguments[missing] == Value(std::string());
                       });
  };
  const auto isLost = [&] { return ownerChanged(2); };
  const auto isBack = [&] { return ownerChanged(1); };
  ShellCommand command(session.options.restart);
  // Returns whether it came.
  const auto awaitChange = [&](const std::function<bool()>& came, const char* what) {
    session.bus->waitFor([&] { return came() || !command.failure().empty() || isInterrupted(); },
                         kActionLimitMs);
    const std::string failure = command.failure();
    return verdict.expect(came(), what, failure.empty() ? "nothing within 60 s" : failure);
  };
  if (!awaitChange(isLost, "the end of the driver service")) return;
  verdict.expect(isClosedWithin(held, kBusLimitMs), "the end of the connections", "none");
  if (!awaitChange(isBack, "the name again")) return;
  session.bus->findOwner();
  session.list();
  verdict.expect(session.services().size() > session.options.interface, "the interface in the list",
                 std::to_string(session.services().size()) + " interfaces");
}

constexpr std::array kChecks = {
    Check{"InterfacesRemoved has to name the interface com.vantrel.Driver1.Service", checkRemoved},
    Check{"When the interface leaves, the driver closes its connections", checkClosed},
    Check{"org.freedesktop.DBus.Error.UnknownObject: the interface has left", checkGone},
    Check{"The driver adds it when the interface can be used (InterfacesAdded)", checkAdded},
    Check{"an interface that leaves and returns gets a new path", checkNewPath},
    Check{"The driver publishes them before the D-Bus service, so that a client that sees the "
          "service "
          "finds them",
          checkNodeFirst},
    Check{"and removes them after the service", checkNodeLast},
    Check{"After command 76 the driver removes the service and closes its connections without "
          "answering",
          checkReenumerate},
    Check{"0x52: answered; then the interface leaves the bus and comes back", checkReplug},
    Check{"A driver requests the name only after it has added the interfaces that are connected "
          "at the start",
          checkRestart},
};

}  // namespace

std::span<const Check> leavingChecks() { return kChecks; }

}  // namespace check
