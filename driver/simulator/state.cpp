// SPDX-License-Identifier: MIT
#include "driver/simulator/state.h"

#include "driver/simulator/json.h"
#include "driver/simulator/words.h"

namespace driver {

namespace {

void addIdentity(State& state, const Model& model) {
  state.emplace_back("className", jsonText(model.identity.className));
  state.emplace_back("vendorId", jsonNumber(model.identity.vendorId));
  state.emplace_back("productId", jsonNumber(model.identity.productId));
  state.emplace_back("productName", jsonText(model.identity.productName));
  state.emplace_back("uniqueId", jsonNumber(model.identity.uniqueId));
  state.emplace_back("deviceName", jsonText(model.deviceName));
  state.emplace_back("usb", jsonText(kSpeedWords[model.usb2 ? kSpeedUsb20 : kSpeedUsb11]));
  state.emplace_back("driverVersion", jsonNumber(model.versions.driver));
  state.emplace_back("firmwareVersion", jsonNumber(model.versions.firmware));
  state.emplace_back("firmwareKnownToDriver", jsonNumber(model.versions.firmwareKnownToDriver));
  state.emplace_back("firmwareDate", jsonText(model.versions.firmwareDate));
}

void addClock(State& state, const Model& model) {
  state.emplace_back("sampleRate", jsonNumber(model.clock.rate()));
  state.emplace_back("bufferSize", jsonNumber(model.bufferSize));
  state.emplace_back("clockSource",
                     jsonText(kClockSourceWords[static_cast<std::size_t>(model.clock.chosen())]));
  state.emplace_back(
      "effectiveClockSource",
      jsonText(kClockSourceWords[static_cast<std::size_t>(model.clock.effective())]));
  state.emplace_back("digitalInput",
                     jsonText(kLockStateWords[model.clock.digitalInput().lockState]));
  state.emplace_back("digitalInputRate", jsonNumber(model.clock.digitalInput().rate));
}

void addOptions(State& state, const Model& model) {
  state.emplace_back("digitalOutMode", jsonNumber(model.options.digitalOutMode));
  state.emplace_back("digitalOutSelector", jsonNumber(model.options.digitalOutSelector));
  state.emplace_back("usb1Mode", jsonNumber(model.options.usb1Mode));
  state.emplace_back("logicByte", jsonNumber(model.options.logicByte));
  state.emplace_back("routingIn", jsonArray(model.routings.inputs));
  state.emplace_back("routingOut", jsonArray(model.routings.outputs));
  state.emplace_back("inputMap", jsonArray(model.channelMap.inputs));
  state.emplace_back("outputMap", jsonArray(model.channelMap.outputs));
}

void addActivity(State& state, const Model& model) {
  state.emplace_back("streamingSuspended", jsonBool(model.streamingSuspended));
  state.emplace_back("preparedForFirmwareUpdate", jsonBool(model.preparedForFirmwareUpdate));
  state.emplace_back("controlPortReceived", jsonNumber(model.controlPort.received));
  state.emplace_back("controlPortLatest", jsonArray(model.controlPort.latest));
}

}  // namespace

State stateOf(const Model& model) {
  State state;
  addIdentity(state, model);
  addClock(state, model);
  addOptions(state, model);
  addActivity(state, model);
  return state;
}

}  // namespace driver
