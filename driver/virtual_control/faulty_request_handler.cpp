// SPDX-License-Identifier: MIT
#include "driver/virtual_control/faulty_request_handler.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>

#include "driver/virtual_interface/commands.h"

namespace driver {

namespace {

bool concernsSettingsOnly(FaultKind kind) {
  return kind == FaultKind::refuse || kind == FaultKind::ignore;
}

[[noreturn]] void die() {
  kill(getpid(), SIGKILL);
  // Nothing may be answered until the signal arrives.
  for (;;) pause();
}

Reply echo(const VQ_Dispatch& request) {
  Reply reply;
  reply.packet.emplace(request.bytes.begin(), request.bytes.end());
  return reply;
}

void garble(std::vector<std::uint8_t>& packet) {
  for (auto& byte : packet) byte = static_cast<std::uint8_t>(~byte);
}

// Changes a reply that has an answer packet.
void spoil(Reply& reply, const Fault& fault) {
  switch (fault.kind) {
    case FaultKind::shortAnswer:
      reply.packet->resize(std::min<std::size_t>(reply.packet->size(), fault.amount));
      break;
    case FaultKind::longAnswer:
      reply.packet->resize(std::max<std::size_t>(reply.packet->size(), fault.amount), 0xEE);
      break;
    case FaultKind::late:
      reply.delay = std::chrono::milliseconds(fault.amount);
      break;
    case FaultKind::garbled:
      garble(*reply.packet);
      break;
    case FaultKind::empty:
      reply.packet->clear();
      break;
    default:
      reply.packet.reset();
      break;
  }
}

}  // namespace

Reply FaultyRequestHandler::handle(const VQ_Dispatch& request) {
  const auto fault = take(request.command(), [](FaultKind) { return true; });
  if (!fault) return handler_.handle(request);
  switch (fault->kind) {
    case FaultKind::die:
      die();
    case FaultKind::hang:
      kill(getpid(), SIGSTOP);
      return handler_.handle(request);
    case FaultKind::close: {
      Reply reply;
      reply.closeConnection = true;
      return reply;
    }
    case FaultKind::refuse:
      return refusal(request);
    case FaultKind::ignore:
      return echo(request);
    default: {
      Reply reply = handler_.handle(request);
      if (reply.packet) spoil(reply, *fault);
      return reply;
    }
  }
}

void FaultyRequestHandler::setRouting(const RoutingRecord& routing) {
  if (!take(VQ_Command::kSetRouting, concernsSettingsOnly)) handler_.setRouting(routing);
}

// The first fault of these kinds for the command; counts the request against it.
std::optional<Fault> FaultyRequestHandler::take(VQ_Command command, bool (*applies)(FaultKind)) {
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) {
    return applies(fault.kind) &&
           (!fault.command || *fault.command == static_cast<std::uint32_t>(command)) &&
           (!concernsSettingsOnly(fault.kind) || isSettingCommand(command));
  });
  if (found == faults_.end()) return std::nullopt;
  const Fault fault = *found;
  if (found->times && --*found->times == 0) faults_.erase(found);
  return fault;
}

}  // namespace driver
