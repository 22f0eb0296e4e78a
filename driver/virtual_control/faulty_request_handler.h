// SPDX-License-Identifier: MIT
// Applies faults to the replies of another handler, and to the routings that it is to set.
#pragma once

#include <vector>

#include "driver/service/request_handler.h"
#include "driver/virtual_control/fault.h"

namespace driver {

// If several faults match a request, the one that was added first is applied.
class FaultyRequestHandler final : public RequestHandler {
 public:
  explicit FaultyRequestHandler(RequestHandler& handler) : handler_(handler) {}

  void add(const Fault& fault) { faults_.push_back(fault); }
  void clear() { faults_.clear(); }
  const std::vector<Fault>& faults() const { return faults_; }

  Reply handle(const VQ_Dispatch& request) override;
  // A routing is not answered, so only the faults that keep a setting from being taken apply, as
  // for the command that sets routings.
  void setRouting(const RoutingRecord& routing) override;

 private:
  std::optional<Fault> take(VQ_Command command, bool (*applies)(FaultKind));

  RequestHandler& handler_;
  std::vector<Fault> faults_;
};

}  // namespace driver
