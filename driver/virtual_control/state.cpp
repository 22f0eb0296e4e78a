// SPDX-License-Identifier: MIT
#include "driver/virtual_control/settings.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "protocol/words.h"

namespace driver {

namespace {

using Json = nlohmann::ordered_json;

std::string_view wordOf(VQE_ClockSource source) {
  return kClockSourceWords[static_cast<std::size_t>(source)];
}

void addIdentity(Json& state, const Model& model) {
  state["className"] = model.identity.className;
  state["vendorId"] = model.identity.vendorId;
  state["productId"] = model.identity.productId;
  state["productName"] = model.identity.productName;
  state["uniqueId"] = model.identity.uniqueId;
  state["deviceName"] = model.deviceName;
  state["usb"] = kSpeedWords[model.usb2 ? kSpeedUsb20 : kSpeedUsb11];
  state["driverVersion"] = model.versions.driver;
  state["firmwareVersion"] = model.versions.firmware;
  state["firmwareKnownToDriver"] = model.versions.firmwareKnownToDriver;
  state["firmwareDate"] = model.versions.firmwareDate;
}

void addClock(Json& state, const Model& model) {
  state["sampleRate"] = model.clock.rate();
  state["bufferSize"] = model.bufferSize;
  state["clockSource"] = wordOf(model.clock.chosen());
  state["effectiveClockSource"] = wordOf(model.clock.effective());
  state["digitalInput"] = kLockStateWords[model.clock.digitalInput().lockState];
  state["digitalInputRate"] = model.clock.digitalInput().rate;
}

void addOptions(Json& state, const Model& model) {
  state["digitalOutMode"] = model.options.digitalOutMode;
  state["digitalOutSelector"] = model.options.digitalOutSelector;
  state["usb1Mode"] = model.options.usb1Mode;
  state["logicByte"] = model.options.logicByte;
  state["routingIn"] = model.routings.inputs;
  state["routingOut"] = model.routings.outputs;
  state["inputMap"] = model.channelMap.inputs;
  state["outputMap"] = model.channelMap.outputs;
}

void addActivity(Json& state, const Model& model) {
  state["streamingSuspended"] = model.streamingSuspended;
  state["preparedForFirmwareUpdate"] = model.preparedForFirmwareUpdate;
  state["controlPortReceived"] = model.controlPort.received;
  state["controlPortLatest"] = model.controlPort.latest;
}

std::string dumped(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string escaped(char control) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "\\u%04x",
                static_cast<unsigned>(static_cast<unsigned char>(control)));
  return text.data();
}

// The library escapes U+0000 to U+001F; DEL and U+0080 to U+009F (0xC2 and one more byte) move the
// cursor, too.
std::string textLine(const Json& text) {
  const std::string json = dumped(text);
  std::string line;
  for (std::size_t i = 1; i + 1 < json.size(); ++i) {
    const bool isEscape = json[i] == '\\' && (json[i + 1] == '"' || json[i + 1] == '\\');
    const bool isControl = json[i] == '\xC2' && static_cast<unsigned char>(json[i + 1]) < 0xA0;
    if (isEscape || isControl) ++i;
    line += isControl || json[i] == '\x7F' ? escaped(json[i]) : std::string(1, json[i]);
  }
  return line;
}

std::string arrayLine(const Json& array) {
  std::string line;
  for (const Json& element : array) line += (line.empty() ? "" : ", ") + dumped(element);
  return "[" + line + "]";
}

}  // namespace

Json stateOf(const Model& model) {
  Json state;
  addIdentity(state, model);
  addClock(state, model);
  addOptions(state, model);
  addActivity(state, model);
  return state;
}

std::string jsonOf(const Json& state) { return dumped(state) + "\n"; }

std::string linesOf(const Json& state) {
  std::string lines;
  for (const auto& [name, value] : state.items()) {
    lines += name + ": ";
    lines += value.is_string()  ? textLine(value)
             : value.is_array() ? arrayLine(value)
                                : dumped(value);
    lines += "\n";
  }
  return lines;
}

}  // namespace driver
