// SPDX-License-Identifier: MIT
// Applies faults to the replies of another handler.
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

 private:
  std::optional<Fault> take(VQ_Command command);

  RequestHandler& handler_;
  std::vector<Fault> faults_;
};

}  // namespace driver
