// SPDX-License-Identifier: MIT
#include <algorithm>

#include "driver/virtual_interface/commands.h"

namespace driver {

namespace {

Outcome takeControlPortBytes(ControlPort& port, const VQ_Dispatch& record) {
  const auto bytes = controlPortBytes(record);
  if (bytes.empty()) return Outcome::refused;
  port.latest.insert(port.latest.end(), bytes.begin(), bytes.end());
  if (port.latest.size() > kControlPortHistory) {
    port.latest.erase(port.latest.begin(),
                      port.latest.end() - static_cast<std::ptrdiff_t>(kControlPortHistory));
  }
  port.received += bytes.size();
  return Outcome::answered;
}

// Suspending streaming and asking for the configuration's status are one command: it suspends, and
// answers that the interface is configured.
Outcome suspendStreaming(Model& model, VQ_Dispatch& record) {
  model.streamingSuspended = true;
  record.setWord(0, 1);
  return Outcome::answered;
}

Outcome resumeStreaming(Model& model) {
  model.streamingSuspended = false;
  return Outcome::answered;
}

// A firmware update cannot run beside the streams.
Outcome prepareFirmwareUpdate(Model& model) {
  model.preparedForFirmwareUpdate = true;
  model.streamingSuspended = true;
  return Outcome::answered;
}

}  // namespace

GroupAnswer answerTransferCommand(Model& model, VQ_Dispatch& record) {
  switch (record.command()) {
    case VQ_Command::kPrepareFirmwareUpdate:
      return prepareFirmwareUpdate(model);
    case VQ_Command::kUsbRequest:
      return answerUsbRequest(model, record);
    case VQ_Command::kSendCPortBytes:
      return takeControlPortBytes(model.controlPort, record);
    case VQ_Command::kResumeStreaming:
      return resumeStreaming(model);
    case VQ_Command::kSuspendStreaming:
      return suspendStreaming(model, record);
    case VQ_Command::kReenumerateDevice:
      return Outcome::left;
    default:
      return std::nullopt;
  }
}

}  // namespace driver
