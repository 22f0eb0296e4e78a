// SPDX-License-Identifier: MIT
#include "driver/service/request_handler.h"

namespace driver {

Reply InterfaceRequestHandler::handle(const VQ_Dispatch& request) {
  VQ_Dispatch record = request;
  const Outcome outcome = interface_.answer(record);
  if (outcome == Outcome::refused) return refusal(request);
  Reply reply;
  reply.leaveBus = outcome == Outcome::left || outcome == Outcome::answeredAndLeft;
  if (outcome != Outcome::left) reply.packet.emplace(record.bytes.begin(), record.bytes.end());
  return reply;
}

void InterfaceRequestHandler::setRouting(const RoutingRecord& routing) {
  interface_.setRouting(routing.input != 0, routing.pair, routing.value);
}

Reply refusal(const VQ_Dispatch& request) {
  Reply reply;
  reply.packet.emplace(request.bytes.begin(), request.bytes.begin() + VQ_Dispatch::kPayloadOffset);
  return reply;
}

}  // namespace driver
