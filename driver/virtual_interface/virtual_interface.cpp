// SPDX-License-Identifier: MIT
#include "driver/virtual_interface/virtual_interface.h"

#include "driver/virtual_interface/commands.h"

namespace driver {

std::string VirtualInterface::audioDeviceName() const {
  return model_.identity.className == kVX310DriverClass ? kVX310AudioDeviceName : "";
}

std::string VirtualInterface::audioNodeName() const {
  return number_ == 1 ? "vx310" : "vx310-" + std::to_string(number_);
}

Outcome VirtualInterface::answer(VQ_Dispatch& record) {
  if (const GroupAnswer levels = answerLevelCommand(meter_, record)) return *levels;
  Outcome outcome = Outcome::refused;
  change([&](Model& model) { outcome = answerCommand(model, record); });
  return outcome;
}

bool VirtualInterface::setRouting(bool input, std::int32_t pair, std::int32_t value) {
  bool set = false;
  change([&](Model& model) { set = driver::setRouting(model, input, pair, value); });
  return set;
}

void VirtualInterface::connected() {
  model_.streamingSuspended = false;
  model_.preparedForFirmwareUpdate = false;
}

void VirtualInterface::change(const std::function<void(Model&)>& apply) {
  const Model before = model_;
  apply(model_);
  if (listener_ != nullptr && audioStateOf(before) != audioState()) listener_->audioChanged();
  const std::uint32_t notification = notificationForChange(before, model_);
  if (notification != 0 && listener_ != nullptr) listener_->interfaceChanged(notification);
}

}  // namespace driver
